// Sound of other containers, as AVI holds it.
#pragma once

#include <memory>
#include <optional>
#include <string>

#include "tools/tkmjpg/media/libav.h"
#include "tools/tkmjpg/media/sound.h"

namespace tkmjpg::tool {

// What a pass through the file found out about a stream.
struct PacketTotals {
  int64_t packets = 0, bytes = 0;
  int64_t first_time = AV_NOPTS_VALUE;  // ticks of the stream
  int largest = 0;
};

// Nothing if AVI cannot hold it.
std::optional<SoundFormat> AviSoundFormat(const AVCodecParameters& codec,
                                          const PacketTotals& totals);

// The sound of a stream, beginning with what is heard `video_start` seconds into the file.
std::shared_ptr<SoundReader> OpenContainerSound(std::unique_ptr<Demuxer> demuxer, int stream,
                                                const SoundFormat& format,
                                                const PacketTotals& totals, double video_start);

}  // namespace tkmjpg::tool
