/* Loads the library as a host does, and codes and decodes a frame with what it exports. */
#include <dlfcn.h>
#include <stdio.h>
#include <string.h>

#include "tkmjpg.h"

typedef uint32_t (*Compress)(const uint8_t*, int32_t, uint8_t*, uint32_t, int32_t, int32_t, int32_t,
                             uint32_t, uint32_t, uint32_t, CodecCarryState*);
typedef uint32_t (*Decompress)(const uint8_t*, uint32_t, uint8_t*, int32_t, int32_t, int32_t,
                               uint32_t, uint32_t, uint32_t, CodecCarryState*);

int main(int argc, char** argv) {
  static uint8_t pixels[64 * 32 * 2], stream[65536], decoded[sizeof pixels];
  void* library = argc == 2 ? dlopen(argv[1], RTLD_NOW) : NULL;
  Compress compress;
  Decompress decompress;
  uint32_t size;
  if (library == NULL) {
    fprintf(stderr, "load_library: %s\n", argc == 2 ? dlerror() : "no library");
    return 1;
  }
  *(void**)&compress = dlsym(library, "CompressBuffer_MJPG");
  *(void**)&decompress = dlsym(library, "DecompressBuffer_MJPG");
  if (compress == NULL || decompress == NULL || dlsym(library, "DriverProc") == NULL) {
    fprintf(stderr, "load_library: %s\n", dlerror());
    return 1;
  }
  memset(pixels, 128, sizeof pixels);
  size = compress(pixels, 128, stream, sizeof stream, 64, 32, 75, 0, TKMJPG_YUY2, 0, NULL);
  if (size == 0 || decompress(stream, size, decoded, 128, 64, 32, 0, TKMJPG_YUY2, 0, NULL) != 1 ||
      memcmp(pixels, decoded, sizeof pixels) != 0) {
    fprintf(stderr, "load_library: a grey frame does not come back\n");
    return 1;
  }
  return 0;
}
