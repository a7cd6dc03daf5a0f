/* The part of the Video for Windows driver interface that DriverProc speaks, for systems that have
 * no vfw.h: message numbers, result codes and structures with their published names and fields, in
 * natural alignment. On Windows include <windows.h> and <vfw.h> instead; the layouts are the same.
 *
 * This header compiles alone as C (C99 or later) and as C++.
 */
#ifndef TKMJPG_MESSAGES_H
#define TKMJPG_MESSAGES_H

#include <stdint.h>

typedef uint16_t WORD;
typedef uint16_t WCHAR;
typedef uint32_t DWORD;
typedef uint32_t UINT;
typedef int32_t LONG;
typedef uintptr_t DWORD_PTR;
typedef intptr_t LPARAM;
typedef intptr_t LRESULT;

/* Driver-wide messages. */
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

/* Messages of an instance. What lParam1 and lParam2 hold; "format" is a BITMAPINFOHEADER. */
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

/* Result codes. */
#define ICERR_OK 0
#define ICERR_UNSUPPORTED (-1)
#define ICERR_BADFORMAT (-2)
#define ICERR_MEMORY (-3)
#define ICERR_BADPARAM (-6)
#define ICERR_ERROR (-100)

enum { BI_RGB = 0, BI_BITFIELDS = 3 };
enum { ICSTATUS_START = 0, ICSTATUS_END = 2 };
enum { ICQUALITY_HIGH = 10000, ICQUALITY_DEFAULT = -1 };
enum { AVIIF_KEYFRAME = 0x10 };
enum {
  VIDCF_QUALITY = 0x01,
  VIDCF_CRUNCH = 0x02,
  VIDCF_FASTTEMPORALC = 0x20,
  VIDCF_FASTTEMPORALD = 0x80
};
#define ICDECOMPRESS_HURRYUP 0x80000000u
#define ICTYPE_VIDEO 0x63646976u /* "vidc" */

typedef struct BITMAPINFOHEADER {
  DWORD biSize;
  LONG biWidth;
  LONG biHeight; /* of RGB: positive is bottom-up, negative top-down */
  WORD biPlanes;
  WORD biBitCount;
  DWORD biCompression;
  DWORD biSizeImage;
  LONG biXPelsPerMeter;
  LONG biYPelsPerMeter;
  DWORD biClrUsed;
  DWORD biClrImportant;
} BITMAPINFOHEADER;

typedef struct ICOPEN {
  DWORD dwSize;
  DWORD fccType;
  DWORD fccHandler;
  DWORD dwVersion;
  DWORD dwFlags;
  LRESULT dwError;
  void* pV1Reserved;
  void* pV2Reserved;
  DWORD dnDevNode;
} ICOPEN;

typedef struct ICINFO {
  DWORD dwSize;
  DWORD fccType;
  DWORD fccHandler;
  DWORD dwFlags;
  DWORD dwVersion;
  DWORD dwVersionICM;
  WCHAR szName[16];
  WCHAR szDescription[128];
  WCHAR szDriver[128];
} ICINFO;

typedef struct ICCOMPRESS {
  DWORD dwFlags;
  BITMAPINFOHEADER* lpbiOutput;
  void* lpOutput;
  BITMAPINFOHEADER* lpbiInput;
  void* lpInput;
  DWORD* lpckid;
  DWORD* lpdwFlags;
  LONG lFrameNum;
  DWORD dwFrameSize;
  DWORD dwQuality;
  BITMAPINFOHEADER* lpbiPrev;
  void* lpPrev;
} ICCOMPRESS;

typedef struct ICSETSTATUSPROC {
  DWORD dwFlags;
  LPARAM lParam;
  LONG (*Status)(LPARAM lParam, UINT message, LONG l);
} ICSETSTATUSPROC;

typedef struct ICDECOMPRESS {
  DWORD dwFlags;
  BITMAPINFOHEADER* lpbiInput;
  void* lpInput;
  BITMAPINFOHEADER* lpbiOutput;
  void* lpOutput;
  DWORD ckid;
} ICDECOMPRESS;

typedef struct ICDECOMPRESSEX {
  DWORD dwFlags;
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
