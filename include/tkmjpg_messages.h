/* The part of the Video for Windows driver interface that DriverProc speaks, for systems that have
 * no vfw.h: message numbers, result codes and structures with their published names and fields, in
 * natural alignment. On Windows include <windows.h> and <vfw.h> instead; the layouts are the same.
 *
 * Made to get along with other headers of that kind, included before this one or after it: no type
 * such as DWORD is defined here, fields have the types of stdint.h (DWORD, UINT and FOURCC
 * uint32_t, LONG int32_t, WORD and WCHAR uint16_t, LPARAM and LRESULT intptr_t). Constants that are
 * macros already stay as they are, group by group. With TKMJPG_NO_BITMAPINFOHEADER defined, that
 * structure and its BI_ constants are left to a header that was included before.
 *
 * This header compiles alone as C (C99 or later) and as C++.
 */
#ifndef TKMJPG_MESSAGES_H
#define TKMJPG_MESSAGES_H

#include <stdint.h>

/* Driver-wide messages. */
#ifndef DRV_LOAD
enum {
  DRV_LOAD = 1,
  DRV_ENABLE = 2,
  DRV_OPEN = 3, /* lParam2: ICOPEN */
  DRV_CLOSE = 4,
  DRV_DISABLE = 5,
  DRV_FREE = 6,
  DRV_CONFIGURE = 7,
  DRV_QUERYCONFIGURE = 8,
  DRV_INSTALL = 9,
  DRV_REMOVE = 10,
  DRV_USER = 0x4000
};
#endif

/* Messages of an instance. What lParam1 and lParam2 hold; "format" is a BITMAPINFOHEADER. */
#ifndef ICM_COMPRESS
enum {
  ICM_COMPRESS_GET_FORMAT = 0x4004,   /* input format, output format or null */
  ICM_COMPRESS_GET_SIZE = 0x4005,     /* input format, output format */
  ICM_COMPRESS_QUERY = 0x4006,        /* input format, output format or null */
  ICM_COMPRESS_BEGIN = 0x4007,        /* input format, output format or null */
  ICM_COMPRESS = 0x4008,              /* ICCOMPRESS, its size */
  ICM_COMPRESS_END = 0x4009,          /* */
  ICM_DECOMPRESS_GET_FORMAT = 0x400A, /* source format, output format or null */
  ICM_DECOMPRESS_QUERY = 0x400B,      /* source format, output format or null */
  ICM_DECOMPRESS_BEGIN = 0x400C,      /* source format, output format */
  ICM_DECOMPRESS = 0x400D,            /* ICDECOMPRESS, its size */
  ICM_DECOMPRESS_END = 0x400E,        /* */
  ICM_DRAW_BEGIN = 0x400F,
  ICM_DRAW_END = 0x4015,
  ICM_DECOMPRESS_GET_PALETTE = 0x401E,
  ICM_DRAW_QUERY = 0x401F,
  ICM_DRAW = 0x4021,
  ICM_GETDEFAULTKEYFRAMERATE = 0x402A,
  ICM_DECOMPRESSEX_BEGIN = 0x403C, /* ICDECOMPRESSEX, its size */
  ICM_DECOMPRESSEX_QUERY = 0x403D, /* ICDECOMPRESSEX, its size */
  ICM_DECOMPRESSEX = 0x403E,       /* ICDECOMPRESSEX, its size */
  ICM_DECOMPRESSEX_END = 0x403F,   /* */
  ICM_SET_STATUS_PROC = 0x4048,    /* ICSETSTATUSPROC, its size */
  ICM_GETSTATE = 0x5000,           /* block or null, its size */
  ICM_SETSTATE = 0x5001,           /* block or null, its size */
  ICM_GETINFO = 0x5002,            /* ICINFO or null, its size */
  ICM_CONFIGURE = 0x500A,          /* owner window; -1 asks whether there is such a dialog */
  ICM_ABOUT = 0x500B,              /* owner window; -1 asks whether there is such a box */
  ICM_GETDEFAULTQUALITY = 0x501E,  /* DWORD to fill */
  ICM_GETQUALITY = 0x501F,         /* DWORD to fill */
  ICM_SETQUALITY = 0x5020          /* DWORD to read */
};
#endif

/* Result codes. */
#ifndef ICERR_OK
#define ICERR_OK 0
#define ICERR_UNSUPPORTED (-1)
#define ICERR_BADFORMAT (-2)
#define ICERR_MEMORY (-3)
#define ICERR_BADPARAM (-6)
#define ICERR_ERROR (-100)
#endif

#ifndef ICSTATUS_START
enum { ICSTATUS_START = 0, ICSTATUS_END = 2 };
#endif
#ifndef ICQUALITY_HIGH
enum { ICQUALITY_HIGH = 10000, ICQUALITY_DEFAULT = -1 };
#endif
#ifndef AVIIF_KEYFRAME
enum { AVIIF_KEYFRAME = 0x10 };
#endif
#ifndef VIDCF_QUALITY
enum {
  VIDCF_QUALITY = 0x01,
  VIDCF_CRUNCH = 0x02,
  VIDCF_FASTTEMPORALC = 0x20,
  VIDCF_FASTTEMPORALD = 0x80
};
#endif
#ifndef ICDECOMPRESS_HURRYUP
#define ICDECOMPRESS_HURRYUP 0x80000000u
#endif
#ifndef ICTYPE_VIDEO
#define ICTYPE_VIDEO 0x63646976u /* "vidc" */
#endif

#ifndef TKMJPG_NO_BITMAPINFOHEADER
#ifndef BI_RGB
enum { BI_RGB = 0, BI_BITFIELDS = 3 };
#endif

typedef struct BITMAPINFOHEADER {
  uint32_t biSize;
  int32_t biWidth;
  int32_t biHeight; /* of RGB: positive is bottom-up, negative top-down */
  uint16_t biPlanes;
  uint16_t biBitCount;
  uint32_t biCompression;
  uint32_t biSizeImage;
  int32_t biXPelsPerMeter;
  int32_t biYPelsPerMeter;
  uint32_t biClrUsed;
  uint32_t biClrImportant;
} BITMAPINFOHEADER;
#endif

typedef struct ICOPEN {
  uint32_t dwSize;
  uint32_t fccType;
  uint32_t fccHandler;
  uint32_t dwVersion;
  uint32_t dwFlags;
  intptr_t dwError;
  void* pV1Reserved;
  void* pV2Reserved;
  uint32_t dnDevNode;
} ICOPEN;

typedef struct ICINFO {
  uint32_t dwSize;
  uint32_t fccType;
  uint32_t fccHandler;
  uint32_t dwFlags;
  uint32_t dwVersion;
  uint32_t dwVersionICM;
  uint16_t szName[16];
  uint16_t szDescription[128];
  uint16_t szDriver[128];
} ICINFO;

typedef struct ICCOMPRESS {
  uint32_t dwFlags;
  BITMAPINFOHEADER* lpbiOutput;
  void* lpOutput;
  BITMAPINFOHEADER* lpbiInput;
  void* lpInput;
  uint32_t* lpckid;
  uint32_t* lpdwFlags;
  int32_t lFrameNum;
  uint32_t dwFrameSize;
  uint32_t dwQuality;
  BITMAPINFOHEADER* lpbiPrev;
  void* lpPrev;
} ICCOMPRESS;

typedef struct ICSETSTATUSPROC {
  uint32_t dwFlags;
  intptr_t lParam;
  int32_t (*Status)(intptr_t lParam, uint32_t message, int32_t l);
} ICSETSTATUSPROC;

typedef struct ICDECOMPRESS {
  uint32_t dwFlags;
  BITMAPINFOHEADER* lpbiInput;
  void* lpInput;
  BITMAPINFOHEADER* lpbiOutput;
  void* lpOutput;
  uint32_t ckid;
} ICDECOMPRESS;

typedef struct ICDECOMPRESSEX {
  uint32_t dwFlags;
  BITMAPINFOHEADER* lpbiSrc;
  void* lpSrc;
  BITMAPINFOHEADER* lpbiDst;
  void* lpDst;
  int xDst;
  int yDst;
  int dxDst;
  int dyDst;
  int xSrc;
  int ySrc;
  int dxSrc;
  int dySrc;
} ICDECOMPRESSEX;

#endif
