#include "tools/tkmjpg/media/open_output.h"

#include <cctype>
#include <utility>

#include "tools/tkmjpg/error.h"
#include "tools/tkmjpg/media/avi_writer.h"
#include "tools/tkmjpg/media/jpeg_sequence_writer.h"
#include "tools/tkmjpg/media/mjpg_writer.h"

namespace tkmjpg::tool {

std::string Extension(const std::string& name) {
  const size_t dot = name.rfind('.');
  if (dot == std::string::npos || name.find('/', dot) != std::string::npos) return "";
  std::string extension = name.substr(dot + 1);
  for (char& c : extension) c = static_cast<char>(std::tolower(static_cast<unsigned char>(c)));
  return extension;
}

std::unique_ptr<StreamWriter> OpenStreamWriter(const std::string& name, const VideoFormat& format,
                                               Overwrite overwrite, const SoundTracks& sound,
                                               const std::string& comment) {
  const std::string extension = Extension(name);
  if (name == "-" || extension == "mjpg" || extension == "mjpeg") {
    return std::make_unique<MjpgWriter>(name, overwrite);
  }
  if (extension == "avi") {
    AviVideo video = MjpgAviVideo(format);
    video.comment = comment;
    return std::make_unique<AviWriter>(name, std::move(video), overwrite, sound);
  }
  if (extension == "jpg" || extension == "jpeg") {
    return std::make_unique<JpegSequenceWriter>(name, overwrite);
  }
  throw UsageError(name + ": the name of the output ends in .avi, .mjpg or .jpg, or is -");
}

}  // namespace tkmjpg::tool
