#include "tools/tkmjpg/commands/part_manifest.h"

#include <filesystem>
#include <nlohmann/json.hpp>
#include <system_error>

#include "tools/tkmjpg/commands/md5.h"
#include "tools/tkmjpg/error.h"
#include "tools/tkmjpg/media/input_file.h"
#include "tools/tkmjpg/media/open_output.h"
#include "tools/tkmjpg/media/open_stream.h"

namespace tkmjpg::tool {
namespace {

using Json = nlohmann::ordered_json;

// A .mjpg file is its frames; others have more around them.
std::string Md5OfFrames(const std::string& part) {
  Md5 md5;
  Bytes bytes;
  if (Extension(part) == "avi") {
    const StreamInput input = OpenStream(part, {});
    while (input.reader->Read(bytes)) md5.Add(bytes);
    return md5.Finish();
  }
  InputFile file(part);
  bytes.resize(1 << 20);
  for (size_t got = file.Read(bytes); got > 0; got = file.Read(bytes)) {
    md5.Add(std::span(bytes).first(got));
  }
  return md5.Finish();
}

}  // namespace

std::string ManifestText(const PartManifest& manifest) {
  const PartMark& mark = manifest.mark;
  const Json json = {{"file", manifest.file},
                     {"first", mark.first},
                     {"last", mark.last},
                     {"count", mark.frames},
                     {"film", mark.film < 0 ? Json(nullptr) : Json(mark.film)},
                     {"bytes", manifest.bytes},
                     {"md5", manifest.md5},
                     {"command", manifest.command},
                     {"version", manifest.version}};
  // What is no UTF-8 in a name becomes U+FFFD.
  return json.dump(2, ' ', false, Json::error_handler_t::replace) + "\n";
}

PartManifest ReadManifest(const std::string& path) {
  std::vector<uint8_t> text;
  ReadWholeFile(path, text);
  PartManifest manifest;
  PartMark& mark = manifest.mark;
  try {
    const Json json = Json::parse(text.begin(), text.end());
    json.at("file").get_to(manifest.file);
    json.at("first").get_to(mark.first);
    json.at("last").get_to(mark.last);
    json.at("count").get_to(mark.frames);
    if (!json.at("film").is_null()) json.at("film").get_to(mark.film);
    json.at("bytes").get_to(manifest.bytes);
    json.at("md5").get_to(manifest.md5);
    json.at("command").get_to(manifest.command);
    json.at("version").get_to(manifest.version);
  } catch (const nlohmann::json::exception& error) {
    const std::string what = error.what();
    throw InputError(path + ": is no manifest of a part: " + what.substr(what.find("] ") + 2));
  }
  return manifest;
}

std::string CheckFile(const std::string& part, const PartManifest& manifest) {
  const std::filesystem::path path(part);
  if (path.filename() != manifest.file) return "its manifest is that of " + manifest.file;
  std::error_code error;
  const uint64_t bytes = std::filesystem::file_size(path, error);
  if (error) return error.message();
  if (bytes == manifest.bytes) return {};
  return "has " + std::to_string(bytes) + " bytes, its manifest says " +
         std::to_string(manifest.bytes);
}

std::string CheckPart(const std::string& part, const PartManifest& manifest) {
  std::string wrong = CheckFile(part, manifest);
  if (!wrong.empty()) return wrong;
  const std::string md5 = Md5OfFrames(part);
  return md5 == manifest.md5 ? "" : "MD5 is " + md5 + ", its manifest says " + manifest.md5;
}

}  // namespace tkmjpg::tool
