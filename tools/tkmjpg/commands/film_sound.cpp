#include "tools/tkmjpg/commands/film_sound.h"

#include <cstdio>
#include <limits>

#include "tools/tkmjpg/error.h"
#include "tools/tkmjpg/media/avi_writer.h"
#include "tools/tkmjpg/media/open_output.h"
#include "tools/tkmjpg/media/wav_reader.h"
#include "tools/tkmjpg/terminal/printable.h"

namespace tkmjpg::tool {

SoundTracks SoundFor(const std::string& output, const std::string& wav, const SoundTracks& own) {
  const bool avi = Extension(output) == "avi";
  if (wav.empty()) return avi ? own : SoundTracks{};
  if (!avi) throw UsageError("--sound needs an output that is NAME.avi");
  return {OpenWav(wav)};
}

SoundTracks SoundOfFrames(const SoundTracks& sound, const VideoFormat& format,
                          const FrameRange& range, std::vector<std::string>& left_out) {
  if (range.IsAll()) return sound;
  const double frame = static_cast<double>(format.rate.den) / static_cast<double>(format.rate.num);
  const double end = (static_cast<double>(range.last) + 1) * frame;
  SoundTracks part;
  for (const auto& track : sound) {
    if (range.first == 0 && !track->Format().IsCuttable()) {
      part.push_back(track);  // the writer ends it with the film
    } else if (track->Format().IsCuttable()) {
      part.push_back(SoundBetween(track, static_cast<double>(range.first) * frame, end));
    } else {
      left_out.push_back("sound is left out: " + track->Format().CodecName() +
                         " cannot be cut where the frames begin");
    }
  }
  return part;
}

SoundTracks SoundOfPart(const SoundTracks& sound, const VideoFormat& format,
                        const FrameRange& range, int64_t frames) {
  if (range.IsAll()) return sound;
  const bool to_end = range.last == INT64_MAX || (frames >= 0 && range.last >= frames - 1);
  const double begin = FrameSeconds(format, static_cast<uint64_t>(range.first));
  const double end = to_end ? std::numeric_limits<double>::infinity()
                            : FrameSeconds(format, static_cast<uint64_t>(range.last) + 1);
  SoundTracks part;
  for (const auto& track : sound) part.push_back(SoundChunksBetween(track, begin, end));
  return part;
}

std::string LostSound(const std::string& output, const SoundTracks& own) {
  if (own.empty() || Extension(output) == "avi") return {};
  return "sound is left out: only NAME.avi holds it";
}

std::vector<std::string> DescribeSound(const SoundTracks& sound) {
  std::vector<std::string> lines;
  for (const auto& track : sound) {
    const SoundFormat& format = track->Format();
    std::string line = format.Description();
    if (format.start != 0) {
      char text[48];
      std::snprintf(text, sizeof text, ", begins %.6g s after the picture",
                    static_cast<double>(format.start) * format.scale / format.rate);
      line += text;
    }
    lines.push_back(line);
  }
  return lines;
}

}  // namespace tkmjpg::tool
