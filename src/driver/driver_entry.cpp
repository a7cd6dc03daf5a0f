// DriverProc knows no codec, CodecDriverProc only messages. Neither does any of the work.
#include "driver/driver_entry.h"

#include "driver/compress_messages.h"
#include "driver/configure_dialog.h"
#include "driver/decompress_messages.h"

namespace tkmjpg {
namespace {

constexpr uint32_t kProcessAttach = 1;
constexpr intptr_t kQueryOnly = -1;  // instead of the owner window of a dialog

constexpr DriverProcedure kCodecProcList[] = {CodecDriverProc, nullptr};

HINSTANCE module_handle = nullptr;

// The five arguments of a driver procedure.
struct Message {
  uintptr_t id;
  void* driver;
  uint32_t number;
  intptr_t param1;
  intptr_t param2;

  intptr_t SendTo(DriverProcedure procedure) const {
    return procedure(id, driver, number, param1, param2);
  }
  intptr_t AnswerByDefault() const {
    return DefDriverProc(id, static_cast<HDRVR>(driver), number, param1, param2);
  }
};

template <typename T>
T* At(intptr_t address) {
  return reinterpret_cast<T*>(address);
}

intptr_t Load(const Message& message) {
  for (const DriverProcedure* codec = kCodecProcList; *codec != nullptr; ++codec) {
    if (message.SendTo(*codec) == 0) return 0;
  }
  return 1;
}

intptr_t TellAll(const Message& message) {
  for (const DriverProcedure* codec = kCodecProcList; *codec != nullptr; ++codec) {
    message.SendTo(*codec);
  }
  return 1;
}

intptr_t Open(const Message& message) {
  const auto* open = At<const ICOPEN>(message.param2);
  if (open == nullptr) return 1;
  for (const DriverProcedure* codec = kCodecProcList; *codec != nullptr; ++codec) {
    if (auto* record = At<DriverRecord>(message.SendTo(*codec)); record != nullptr) {
      record->codec_proc = *codec;
      record->fcc_type = open->fccType;
      return reinterpret_cast<intptr_t>(record);
    }
  }
  return 0;
}

// Ids of 0 and 1 stand for opens without a record.
intptr_t Forward(const Message& message) {
  const auto* record = message.id > 1 ? reinterpret_cast<const DriverRecord*>(message.id) : nullptr;
  if (record != nullptr && record->codec_proc != nullptr) return message.SendTo(record->codec_proc);
  return message.AnswerByDefault();
}

DecompressRequest FormatRequest(intptr_t source, intptr_t output) {
  DecompressRequest request;
  request.source = At<BITMAPINFOHEADER>(source);
  request.output = At<BITMAPINFOHEADER>(output);
  return request;
}

// The flags of the plain structure are not passed on: hurrying up is for the extended one.
DecompressRequest PlainRequest(const ICDECOMPRESS& frame) {
  DecompressRequest request;
  request.source = frame.lpbiInput;
  request.source_data = frame.lpInput;
  request.output = frame.lpbiOutput;
  request.output_data = frame.lpOutput;
  return request;
}

DecompressRequest ExtendedRequest(const ICDECOMPRESSEX& frame) {
  return {.flags = static_cast<uint32_t>(frame.dwFlags),
          .source = frame.lpbiSrc,
          .source_data = frame.lpSrc,
          .source_rectangle = {frame.xSrc, frame.ySrc, frame.dxSrc, frame.dySrc},
          .output = frame.lpbiDst,
          .output_data = frame.lpDst,
          .output_rectangle = {frame.xDst, frame.yDst, frame.dxDst, frame.dyDst}};
}

// A message that brings no structure, or no place for its answer, is ICERR_BADPARAM.
intptr_t DecompressPlain(CodecInstance& instance, const ICDECOMPRESS* frame) {
  return frame == nullptr ? ICERR_BADPARAM : DecompressOneFrame(instance, PlainRequest(*frame));
}

template <typename Handler>
intptr_t DecompressExtended(CodecInstance& instance, Handler handler, const ICDECOMPRESSEX* frame) {
  return frame == nullptr ? ICERR_BADPARAM : handler(instance, ExtendedRequest(*frame));
}

intptr_t SetStatusProc(CodecInstance& instance, const ICSETSTATUSPROC* status) {
  if (status == nullptr) return ICERR_BADPARAM;
  instance.status_proc = status->Status;
  instance.status_lparam = status->lParam;
  return ICERR_OK;
}

template <typename To, typename From>
intptr_t CopyWord(To* to, const From* from) {
  if (to == nullptr || from == nullptr) return ICERR_BADPARAM;
  *to = *from;
  return ICERR_OK;
}

// The messages of an open instance, each to its handler.
intptr_t AnswerCodecMessage(CodecInstance& codec, const Message& message) {
  const auto [id, driver, number, p1, p2] = message;
  const auto size = static_cast<uint32_t>(p2);
  switch (number) {
    case ICM_COMPRESS_GET_FORMAT:
      return CompressGetFormat(codec, At<BITMAPINFOHEADER>(p1), At<BITMAPINFOHEADER>(p2));
    case ICM_COMPRESS_GET_SIZE:
      return CompressGetSize(At<BITMAPINFOHEADER>(p1), At<BITMAPINFOHEADER>(p2));
    case ICM_COMPRESS_QUERY:
      return CompressQuery(codec, At<BITMAPINFOHEADER>(p1), At<BITMAPINFOHEADER>(p2));
    case ICM_COMPRESS_BEGIN:
      return CompressBegin(codec, At<BITMAPINFOHEADER>(p1), At<BITMAPINFOHEADER>(p2));
    case ICM_COMPRESS:
      return CompressOneFrame(codec, At<ICCOMPRESS>(p1));
    case ICM_COMPRESS_END:
      return CompressEnd(codec);
    case ICM_DECOMPRESS_GET_FORMAT:
      return DecompressGetFormat(At<BITMAPINFOHEADER>(p1), At<BITMAPINFOHEADER>(p2));
    case ICM_DECOMPRESS_QUERY:
      return DecompressQuery(codec, FormatRequest(p1, p2));
    case ICM_DECOMPRESS_BEGIN:
      return DecompressBegin(codec, FormatRequest(p1, p2));
    case ICM_DECOMPRESS:
      return DecompressPlain(codec, At<ICDECOMPRESS>(p1));
    case ICM_DECOMPRESSEX_QUERY:
      return DecompressExtended(codec, DecompressQuery, At<ICDECOMPRESSEX>(p1));
    case ICM_DECOMPRESSEX_BEGIN:
      return DecompressExtended(codec, DecompressBegin, At<ICDECOMPRESSEX>(p1));
    case ICM_DECOMPRESSEX:
      return DecompressExtended(codec, DecompressOneFrame, At<ICDECOMPRESSEX>(p1));
    case ICM_DECOMPRESS_END:
    case ICM_DECOMPRESSEX_END:
      return DecompressEnd(codec);
    case ICM_DECOMPRESS_GET_PALETTE:
      return ICERR_BADFORMAT;
    case ICM_DRAW:
      return ICERR_ERROR;
    case ICM_SET_STATUS_PROC:
      return SetStatusProc(codec, At<ICSETSTATUSPROC>(p1));
    case ICM_GETSTATE:
      return GetCodecState(codec, At<void>(p1), size);
    case ICM_SETSTATE:
      return SetCodecState(codec, At<void>(p1), size);
    case ICM_GETINFO:
      return GetCodecInfo(codec, At<ICINFO>(p1), size);
    case ICM_CONFIGURE:
      return p1 == kQueryOnly ? ICERR_OK : ShowConfigureDialog(&codec, reinterpret_cast<HWND>(p1));
    case ICM_ABOUT:
      return p1 == kQueryOnly ? ICERR_OK : ShowAboutBox(reinterpret_cast<HWND>(p1));
    case ICM_GETDEFAULTQUALITY:
      return CopyWord(At<DWORD>(p1), &codec.default_quality);
    case ICM_GETQUALITY:
      return CopyWord(At<DWORD>(p1), &codec.state.quality);
    case ICM_SETQUALITY:
      return CopyWord(&codec.state.quality, At<DWORD>(p1));
    default:
      return ICERR_UNSUPPORTED;
  }
}

}  // namespace

HINSTANCE ModuleHandle() { return module_handle; }

int AttachProcess(HINSTANCE module, uint32_t reason, void* /*reserved*/) {
  if (reason == kProcessAttach && module_handle == nullptr) module_handle = module;
  return 1;
}

intptr_t TKMJPG_DRIVER_CALL CodecDriverProc(uintptr_t dwDriverId, void* hDriver, uint32_t uMsg,
                                            intptr_t lParam1, intptr_t lParam2) {
  const Message message = {dwDriverId, hDriver, uMsg, lParam1, lParam2};
  auto* instance = reinterpret_cast<CodecInstance*>(dwDriverId);
  switch (uMsg) {
    case DRV_LOAD:
    case DRV_FREE:
      return 1;
    case DRV_OPEN:
      return reinterpret_cast<intptr_t>(OpenCodecInstance(*At<ICOPEN>(lParam2)));
    case DRV_CLOSE:
      CloseCodecInstance(*instance);
      return 1;
    default:
      return uMsg < DRV_USER ? message.AnswerByDefault() : AnswerCodecMessage(*instance, message);
  }
}

}  // namespace tkmjpg

extern "C" intptr_t TKMJPG_DRIVER_CALL DriverProc(uintptr_t dwDriverId, void* hDriver,
                                                  uint32_t uMsg, intptr_t lParam1,
                                                  intptr_t lParam2) {
  using namespace tkmjpg;
  const Message message = {dwDriverId, hDriver, uMsg, lParam1, lParam2};
  switch (uMsg) {
    case DRV_LOAD:
      return Load(message);
    case DRV_ENABLE:
    case DRV_DISABLE:
    case DRV_FREE:
      return TellAll(message);
    case DRV_OPEN:
      return Open(message);
    case DRV_CONFIGURE:
      ShowConfigureDialog(nullptr, reinterpret_cast<HWND>(lParam1));
      return 1;
    case DRV_QUERYCONFIGURE:
    case DRV_INSTALL:
    case DRV_REMOVE:
      return 1;
    default:
      return Forward(message);
  }
}
