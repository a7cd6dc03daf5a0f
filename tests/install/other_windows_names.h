/* A program that has some names of Windows from elsewhere, with other types: tkmjpg_messages.h gets
 * along with them. */
#include <stddef.h>

typedef unsigned char BYTE;
typedef unsigned short WORD;
typedef unsigned long DWORD;
typedef long LONG;
typedef wchar_t WCHAR;
typedef unsigned int UINT;
typedef long LPARAM;

#define BI_RGB 0L
#define BI_BITFIELDS 3L
typedef struct tagBITMAPINFOHEADER {
  unsigned int biSize;
  int biWidth, biHeight;
  unsigned short biPlanes, biBitCount;
  unsigned int biCompression, biSizeImage;
  int biXPelsPerMeter, biYPelsPerMeter;
  unsigned int biClrUsed, biClrImportant;
} BITMAPINFOHEADER;

#define DRV_LOAD 0x0001
#define DRV_OPEN 0x0003
#define ICERR_OK 0L
#define AVIIF_KEYFRAME 0x00000010L

#define TKMJPG_NO_BITMAPINFOHEADER
#include "tkmjpg_messages.h"

typedef char the_structure_has_40_bytes[sizeof(BITMAPINFOHEADER) == 40 ? 1 : -1];
