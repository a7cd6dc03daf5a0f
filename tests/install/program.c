/* The ten lines a newcomer writes first: one grey frame there and back. */
#include <string.h>
#include <tkmjpg.h>

int main(void) {
  static uint8_t pixels[64 * 48 * 2], stream[65536], back[64 * 48 * 2];
  memset(pixels, 128, sizeof pixels);
  uint32_t size =
      CompressBuffer_MJPG(pixels, 128, stream, sizeof stream, 64, 48, 75, 0, TKMJPG_YUY2, 0, 0);
  if (size == 0) return 1;
  if (!DecompressBuffer_MJPG(stream, size, back, 128, 64, 48, 0, TKMJPG_YUY2, 0, 0)) return 2;
  return memcmp(pixels, back, sizeof back) == 0 ? 0 : 3;
}
