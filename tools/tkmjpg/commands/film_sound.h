// Which sound goes along with a film, and what is said of it.
#pragma once

#include <cstdint>
#include <string>

#include "tools/tkmjpg/media/media.h"
#include "tools/tkmjpg/media/sound.h"

namespace tkmjpg::tool {

// The sound of an output: that of a WAV file if one is named, else the film's own. Other outputs
// than AVI have none: naming a file is a UsageError then.
SoundTracks SoundFor(const std::string& output, const std::string& wav, const SoundTracks& own);

// The sound of the frames `first` to `last`. What cannot be cut there is left out, and noted in
// `left_out`.
SoundTracks SoundOfFrames(const SoundTracks& sound, const VideoFormat& format, int64_t first,
                          int64_t last, std::vector<std::string>& left_out);

// A note if `output` cannot hold the sound that its input has; empty if it can.
std::string LostSound(const std::string& output, const SoundTracks& own);

// "PCM, 48000 Hz, 2 channels, 16 bits, 0.04 s after the picture", a line a stream.
std::vector<std::string> DescribeSound(const SoundTracks& sound);

}  // namespace tkmjpg::tool
