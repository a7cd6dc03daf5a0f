/* tkmjpg: raw video frames to Motion-JPEG and back.
 *
 * Two calls do the work, one frame a call, each in the caller's buffers:
 *
 *     size = TkmjpgMaxStreamSize(720, 576, 0);
 *     stream = malloc(size);
 *     n = CompressBuffer_MJPG(pixels, stride, stream, size, 720, 576, 75, 0, TKMJPG_YUY2, 0, 0);
 *     DecompressBuffer_MJPG(stream, n, pixels, stride, 720, 576, 0, TKMJPG_YUY2, 0, 0);
 *
 * A frame is one baseline JPEG image (ITU T.81), 8 bits, 4:2:2, or two of them, one a field.
 * Results are exact: every build on every processor gives the same bytes and pixels.
 *
 * Re-entrancy: the calls keep no state of their own, start no thread and may run at once on any
 * number of threads, as long as no two of them share a CodecCarryState or an output buffer.
 *
 * Memory: pixels and streams may begin at any address, and a stride may be any number of bytes;
 * only a CodecCarryState has the alignment of its type. Input and output of a call must not
 * overlap: if they do, what comes out is not defined, but still nothing else is written. Lines may
 * overlap each other. The encoder reads each line where the stride puts it, so a stride of 0
 * repeats one line; where lines of the decoder's output overlap, it is not defined which of them
 * stands.
 *
 * This header compiles alone as C (C99 or later) and as C++.
 */
#ifndef TKMJPG_H
#define TKMJPG_H

#include <stdint.h>

/* The release that this header belongs to. Builds take the numbers from these lines. */
#define TKMJPG_VERSION_MAJOR 3
#define TKMJPG_VERSION_MINOR 2
#define TKMJPG_VERSION_PATCH 16408

#if defined(_WIN32)
#define TKMJPG_API
#define TKMJPG_DRIVER_CALL __stdcall
#else
#define TKMJPG_API __attribute__((visibility("default")))
#define TKMJPG_DRIVER_CALL
#endif

#ifdef __cplusplus
extern "C" {
#endif

/* What the two calls remember from frame to frame. The caller owns it, and makes a new one so:
 *     CodecCarryState carry = TKMJPG_CARRY_INIT;
 * One record can serve a compressor and a decompressor at once: each writes a word of its own. */
typedef struct CodecCarryState {
  uint32_t decode_flags; /* bit 0: the last field frame held one image only; other bits are kept */
  uint32_t rate_scale;   /* 0: none yet; 1 to 256: the scale that rate control starts from next */
} CodecCarryState;
#define TKMJPG_CARRY_INIT \
  { 256, 0 }

/* Raw pixel layouts: FOURCCs, little-endian. Bytes are in memory order; a pair is two pixels of a
 * line that share one Cb and one Cr. 16-bit pixels are little-endian words. [E] compress takes it,
 * [D] decompress gives it. Luma of packed YUV is 16 to 235, chroma 16 to 240 (ITU-R BT.601) unless
 * said otherwise; RGB is always 0 to 255. */
enum TkmjpgLayout {
  TKMJPG_YUY2 = 0x32595559, /* [ED] pair Y0 Cb Y1 Cr */
  TKMJPG_YUYV = 0x56595559, /* [ D] as YUY2 */
  TKMJPG_UYVY = 0x59565955, /* [ED] pair Cb Y0 Cr Y1 */
  TKMJPG_VYUY = 0x59555956, /* [E ] pair Cr Y0 Cb Y1 */
  TKMJPG_YuYv = 0x76597559, /* [ED] as YUY2; decompress leaves luma unlimited, 0 to 255 */
  TKMJPG_UyVy = 0x79567955, /* [ED] as UYVY; decompress leaves luma unlimited, 0 to 255 */
  TKMJPG_BGR3 = 0x33524742, /* [ED] B G R */
  TKMJPG_BGR4 = 0x34524742, /* [ED] B G R spare; decompress writes spare as 0 */
  TKMJPG_BGRA = 0x41524742, /* [ED] B G R A; decompress writes A as 255 or from the alpha segment */
  TKMJPG_R555 = 0x35353552, /* [ED] word 0RRRRRGGGGGBBBBB; luma 0 to 255 in the stream */
  TKMJPG_R565 = 0x35363552, /* [ D] word RRRRRGGGGGGBBBBB; luma 0 to 255 in the stream */
  TKMJPG_bgr3 = 0x33726762, /* [ D] as BGR3 from streams whose luma is 0 to 255 */
  TKMJPG_bgr4 = 0x34726762, /* [ D] as BGR4 from streams whose luma is 0 to 255 */
  TKMJPG_bgra = 0x61726762  /* [ D] as BGRA from streams whose luma is 0 to 255 */
};

/* Flags of CompressBuffer_MJPG. Any other bit is ignored. */
enum TkmjpgCompressFlags {
  TKMJPG_C_HUFFMAN_TABLES =
      0x1, /* every image carries a DHT segment, for readers without defaults */
  /* With FIELDS: code one field only, as one image of half the height and with field code 0. It is
   * the field that would come first: the odd lines, or the even ones if one of SWAP_LINES and
   * CODE2_FIRST is set, but not both. */
  TKMJPG_C_ONE_FIELD = 0x2,
  TKMJPG_C_SWAP_LINES = 0x4,   /* with FIELDS: field code 1 has the even lines, 2 the odd ones */
  TKMJPG_C_CODE2_FIRST = 0x20, /* with FIELDS: the image with field code 2 comes first */
  TKMJPG_C_STRONG_RATE = 0x80, /* with RATE_CONTROL: an image far off its target is coded again */
  TKMJPG_C_RATE_CONTROL = 0x10000, /* `quality` is the target size of a frame in bytes */
  TKMJPG_C_FIELDS = 0x20000,       /* code two field images; lines count from 0, odd lines first */
  TKMJPG_C_ALPHA = 0x40000,        /* with BGRA: append the alpha plane, lossless */
  TKMJPG_C_MODE_SHIFT = 20         /* bits 20 to 23: header style, below */
};

/* Header styles, to be shifted left by TKMJPG_C_MODE_SHIFT. Other numbers act as 0.
 *   0  AVI1 segment with size fields, DRI, fill     4  the same as 0
 *   1  short AVI1 segment, "DC30" comment, fill     5  JFIF 1.00, nothing behind EOI
 *   2  short AVI1 segment, fill                     7  JFIF 1.02, nothing behind EOI
 *   3  AVI1 segment with size fields, fill */

/* Flags of DecompressBuffer_MJPG. Any other bit is ignored. */
enum TkmjpgDecompressFlags {
  TKMJPG_D_ONE_FIELD_SMART = 0x100,   /* a frame made from one field: interpolate, do not double */
  TKMJPG_D_ONE_FIELD = 0x200,         /* of a field frame take the first image only */
  TKMJPG_D_INVERT_FIELDS = 0x400,     /* the first image has the even lines, not the odd ones */
  TKMJPG_D_USE_AVI1_MARKERS = 0x2000, /* a field code of 2 inverts the order once more */
  TKMJPG_D_FULL_RANGE = 0x4000        /* the stream's luma is 0 to 255: no expansion, no limit */
};

/* A capacity that is enough for any frame of that size, whatever its pixels and its layout: the
 * most that CompressBuffer_MJPG returns with these flags (TkmjpgCompressFlags), or a little above.
 * It is about 7 bytes a pixel; frames at quality 75 take 0.2 to 0.6. What is not touched of a large
 * allocation, systems do not provide. Never above 0xFFFFFFFF, for no stream is longer.
 *
 * Where 864 bytes a MCU come from: 8 bits a sample bound the sum of the squares of a block's AC
 * levels by 1072 * 1072, rounding included. The blocks with the longest codes under this bound,
 * each with as many 0xFF bytes, and zeros stuffed after them, as its codes leave place for, take
 * 225 bytes of luma and 207 of chroma. Headers, end and fill of an image are below 640 bytes. */
static inline uint32_t TkmjpgMaxStreamSize(int32_t width, int32_t height, uint32_t flags) {
  const uint64_t pixels = width > 0 ? (uint64_t)width : 0;
  const uint64_t lines = height > 0 ? (uint64_t)height : 0;
  const uint64_t image_lines = (flags & TKMJPG_C_FIELDS) != 0 ? lines / 2 : lines;
  const uint64_t mcus = (pixels + 15) / 16 * ((image_lines + 7) / 8);
  const uint64_t images =
      (flags & TKMJPG_C_FIELDS) != 0 && (flags & TKMJPG_C_ONE_FIELD) == 0 ? 2 : 1;
  /* At most 10 bits of alpha a pixel, after a head of 10 bytes. */
  const uint64_t alpha = (flags & TKMJPG_C_ALPHA) != 0 ? 11 + pixels * lines * 10 / 8 : 0;
  const uint64_t size = images * (640 + mcus * 864) + alpha;
  return size < 0xFFFFFFFFu ? (uint32_t)size : 0xFFFFFFFFu;
}

/* Compresses one frame.
 *
 *   input         first line of the picture (line 0, the top)
 *   input_stride  bytes from a line to the next; negative for pictures stored bottom-up
 *   output        where the stream goes
 *   output_size   its capacity in bytes, for which TkmjpgMaxStreamSize is always enough. Nothing is
 *                 ever written at or after output + output_size; bytes between the returned length
 *                 and that place may be changed
 *   width         pixels a line, up to 65535. A line is never read beyond `width` pixels; pixels
 *                 that are missing to a multiple of 16 repeat the last one. A line of packed YUV
 *                 whose width is odd ends with one chroma byte of the last pair; the other one
 *                 counts as 128. 0 or less counts as 0
 *   height        lines of the frame, up to 65528 (65535 with FIELDS). The image is stored with
 *                 its height rounded up to a multiple of 8, its last line repeated. 0 or less
 *                 counts as 0
 *   quality       1 (smallest) to 100 (best), limited to that; or, with RATE_CONTROL, the size that
 *                 frames should come near, in bytes (below 0 counts as 0)
 *   flags         TkmjpgCompressFlags
 *   fourcc        TkmjpgLayout, one marked E
 *   reserved      not read
 *   carry         memory of rate control between frames, or null: no frame then knows another
 *
 * Returns the stream's length in bytes, alpha segment included. Returns 0 when the layout is not
 * known (nothing was written then), a size is too large, or the result does not fit `output_size`
 * (what lies in the buffer then is not defined; `carry` is as it was). */
TKMJPG_API uint32_t CompressBuffer_MJPG(const uint8_t* input, int32_t input_stride, uint8_t* output,
                                        uint32_t output_size, int32_t width, int32_t height,
                                        int32_t quality, uint32_t flags, uint32_t fourcc,
                                        uint32_t reserved, CodecCarryState* carry);

/* Decompresses one frame.
 *
 *   input          the stream; damaged or cut ones are accepted
 *   input_size     bytes of it. Nothing behind them is ever read
 *   output         first line of the picture (line 0, the top)
 *   output_stride  bytes from a line to the next; negative for pictures stored bottom-up
 *   width, height  the caller's picture. Negative sizes count as their absolute values, but that
 *                  no alpha is decoded then. Exactly the first `width` pixels of each of `height`
 *                  lines may be written, and nothing else. A larger stream is cropped; a narrower
 *                  one leaves the rest of each line as it was. A stream of fewer lines is taken as
 *                  one field, or two, of the picture
 *   flags          TkmjpgDecompressFlags
 *   fourcc         TkmjpgLayout, one marked D
 *   reserved       not read
 *   carry          memory between frames, or null. With it, the second and later frames of a stream
 *                  with one field a frame are rebuilt as TKMJPG_D_ONE_FIELD_SMART says
 *
 * Returns 1 when the layout is known, whatever the stream held, else 0 with nothing written.
 * An image with damaged headers leaves its lines as they were. Damage in its data does not stop the
 * decoder: all its lines are written, with wrong pixels after the damage and a flat colour after
 * the end of the data. With restart markers the pixels after the next marker are right again; but
 * where a marker is missing or wrong, the rest of the picture stays as it was.
 * Streams of other shapes than baseline 4:2:2 with the Huffman tables of ITU T.81 Annex K leave the
 * picture untouched or wrong, never unsafe. */
TKMJPG_API uint32_t DecompressBuffer_MJPG(const uint8_t* input, uint32_t input_size,
                                          uint8_t* output, int32_t output_stride, int32_t width,
                                          int32_t height, uint32_t flags, uint32_t fourcc,
                                          uint32_t reserved, CodecCarryState* carry);

/* The driver entry of Video for Windows (DRV_ and ICM_ messages). On Windows it has the published
 * signature; elsewhere the same parameters are pointer-sized, and the published structures keep
 * their published fields (32-bit DWORD, LONG and FOURCC, 16-bit WCHAR, natural alignment). An id of
 * 0 or 1 is no instance. Messages of one instance come one at a time; instances are independent. */
TKMJPG_API intptr_t TKMJPG_DRIVER_CALL DriverProc(uintptr_t dwDriverId, void* hDriver,
                                                  uint32_t uMsg, intptr_t lParam1,
                                                  intptr_t lParam2);

#ifdef __cplusplus
}
#endif

#endif
