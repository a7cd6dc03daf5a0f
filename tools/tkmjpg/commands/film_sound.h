// Which sound goes along with a film, and what is said of it.
#pragma once

#include <cstdint>
#include <string>

#include "tools/tkmjpg/commands/frame_range.h"
#include "tools/tkmjpg/media/media.h"
#include "tools/tkmjpg/media/sound.h"

namespace tkmjpg::tool {

// The sound of an output: that of a WAV file if one is named, else the film's own. Other outputs
// than AVI have none: naming a file is a UsageError then.
SoundTracks SoundFor(const std::string& output, const std::string& wav, const SoundTracks& own);

// The sound of the frames of `range`. What cannot be cut there is left out, and noted in
// `left_out`.
SoundTracks SoundOfFrames(const SoundTracks& sound, const VideoFormat& format,
                          const FrameRange& range, std::vector<std::string>& left_out);

// The sound that a part with the frames of `range` carries, of a film of `frames`, -1 if unknown:
// the chunks that the whole film would have before these frames, and at its end. So parts can be
// put together again, whatever the sound is.
SoundTracks SoundOfPart(const SoundTracks& sound, const VideoFormat& format,
                        const FrameRange& range, int64_t frames);

// A note if `output` cannot hold the sound that its input has; empty if it can.
std::string LostSound(const std::string& output, const SoundTracks& own);

// "PCM, 48000 Hz, 2 channels, 16 bits, 0.04 s after the picture", a line a stream.
std::vector<std::string> DescribeSound(const SoundTracks& sound);

}  // namespace tkmjpg::tool
