#include "tools/tkmjpg/media/container_reader.h"

#include <algorithm>
#include <utility>

#include "tools/tkmjpg/error.h"
#include "tools/tkmjpg/media/container_sound.h"
#include "tools/tkmjpg/media/frame_times.h"
#include "tools/tkmjpg/media/libav.h"
#include "tools/tkmjpg/terminal/format_text.h"

namespace tkmjpg::tool {
namespace {

constexpr int kMaxSide = 65535;  // of an image, by its SOF0

FieldOrder OrderOf(AVFieldOrder order) {
  if (order == AV_FIELD_TT || order == AV_FIELD_BT) return FieldOrder::kTopFirst;
  if (order == AV_FIELD_BB || order == AV_FIELD_TB) return FieldOrder::kBottomFirst;
  return FieldOrder::kProgressive;
}

bool IsAttachedPicture(const AVStream& stream) {
  return (stream.disposition & (AV_DISPOSITION_ATTACHED_PIC | AV_DISPOSITION_TIMED_THUMBNAILS)) !=
         0;
}

class Reader : public ContainerReader {
 public:
  Reader(std::shared_ptr<const ByteSource> source, std::string name, const ContainerName& container)
      : source_(std::move(source)), name_(std::move(name)), container_(container) {
    demuxer_ = Open();
    ChooseVideo();
    Scan();
    demuxer_ = Open();  // from the beginning
    demuxer_->SelectOnly(video_);
  }

  const VideoFormat& Format() const override { return format_; }
  int64_t FrameCount() const override { return beats_.beats.empty() ? 0 : beats_.beats.back() + 1; }
  std::vector<std::string> Problems() const override { return problems_; }

  bool Read(Bytes& stream) override {
    if (next_ == beats_.beats.size()) return false;
    stream.clear();
    if (beat_++ < beats_.beats[next_]) return true;  // the frame before goes on
    const AVPacket* const packet = demuxer_->Read();
    if (packet == nullptr) return false;
    stream.assign(packet->data, packet->data + packet->size);
    ++next_;
    return true;
  }

  SoundTracks OpenSound() override {
    SoundTracks tracks;
    for (const Sound& sound : sound_) {
      tracks.push_back(OpenContainerSound(Open(), sound.stream, sound.format,
                                          totals_[static_cast<size_t>(sound.stream)],
                                          video_start_));
    }
    return tracks;
  }

 private:
  struct Sound {
    int stream;
    SoundFormat format;
  };

  [[noreturn]] void Fail(const std::string& what) const { throw InputError(name_ + ": " + what); }

  std::unique_ptr<Demuxer> Open() const try {
    return std::make_unique<Demuxer>(source_, name_, container_);
  } catch (const InputError& error) {
    const std::string what = error.what();
    if (what.starts_with(name_)) throw InputError(what + " in this " + container_.name + " file");
    throw InputError(name_ + ": is " + container_.name + "; " + what);
  }

  const AVStream& Stream(int number) const { return *demuxer_->Context().streams[number]; }
  int StreamCount() const { return static_cast<int>(demuxer_->Context().nb_streams); }
  static std::string CodecName(const AVStream& stream) {
    return LoadLibAv().avcodec_get_name(stream.codecpar->codec_id);
  }

  // The streams of some containers turn up as their packets come.
  void ChooseVideo() {
    constexpr int kMostPackets = 1000;
    for (int i = 0; i < kMostPackets && !SeesVideo(); ++i) {
      if (demuxer_->Read() == nullptr) break;
    }
    ChooseAmongStreams();
    demuxer_ = Open();
  }

  bool SeesVideo() const {
    for (int i = 0; i < StreamCount(); ++i) {
      if (Stream(i).codecpar->codec_type == AVMEDIA_TYPE_VIDEO) return true;
    }
    return false;
  }

  void ChooseAmongStreams() {
    std::string other;
    for (int i = 0; i < StreamCount(); ++i) {
      const AVStream& stream = Stream(i);
      if (stream.codecpar->codec_type != AVMEDIA_TYPE_VIDEO || IsAttachedPicture(stream)) continue;
      if (stream.codecpar->codec_id == AV_CODEC_ID_MJPEG) {
        video_ = i;
        return;
      }
      if (other.empty()) other = CodecName(stream);
    }
    if (other.empty()) Fail(std::string("is ") + container_.name + " without video");
    if (other == "none") other = "of an unknown kind";
    Fail("video is " + other + "; only Motion-JPEG can be read");
  }

  // One pass for the times: what a header says of the rate may be rounded, or wrong.
  void Scan() {
    std::vector<int64_t> times;
    totals_.resize(static_cast<size_t>(StreamCount()));
    try {
      while (const AVPacket* packet = demuxer_->Read()) Count(*packet, times);
    } catch (const InputError& error) {
      problems_.push_back("ends after " + std::to_string(times.size()) +
                          " frames: " + std::string(error.what()).substr(name_.size() + 2));
    }
    CheckEnd();
    TakeFormat(times);
    for (int i = 0; i < StreamCount(); ++i) TakeSound(i);
  }

  // Of a file that was cut short, the header still tells how long it was.
  void CheckEnd() {
    constexpr double kSlack = 0.5;  // of rounded and guessed durations
    const double told = static_cast<double>(demuxer_->Context().duration) / AV_TIME_BASE;
    if (!problems_.empty() || end_ + kSlack >= told) return;
    problems_.push_back(
        Text("breaks off: %.2f s of the %.2f s that its header tells are there", end_, told));
  }

  void Count(const AVPacket& packet, std::vector<int64_t>& times) {
    const auto number = static_cast<size_t>(packet.stream_index);
    if (number >= totals_.size()) return;  // of a stream that turned up late
    const int64_t time = packet.pts != AV_NOPTS_VALUE ? packet.pts : packet.dts;
    PacketTotals& totals = totals_[number];
    if (totals.packets++ == 0) totals.first_time = time;
    totals.bytes += packet.size;
    totals.largest = std::max(totals.largest, packet.size);
    if (packet.stream_index == video_) times.push_back(time);
    if (time == AV_NOPTS_VALUE) return;
    const AVRational tick = Stream(packet.stream_index).time_base;
    const int64_t ticks = time + std::max<int64_t>(packet.duration, 0);
    end_ = std::max(end_, static_cast<double>(ticks) * tick.num / std::max(tick.den, 1));
  }

  void TakeFormat(const std::vector<int64_t>& times) {
    const AVStream& stream = Stream(video_);
    const AVCodecParameters& codec = *stream.codecpar;
    if (codec.width > 0 && codec.width <= kMaxSide && codec.height > 0 &&
        codec.height <= kMaxSide) {
      format_.width = codec.width;
      format_.height = codec.height;
    }
    const AVRational aspect = stream.sample_aspect_ratio.num != 0 ? stream.sample_aspect_ratio
                                                                  : codec.sample_aspect_ratio;
    if (aspect.num > 0 && aspect.den > 0) format_.pixel_aspect = {aspect.num, aspect.den};
    format_.field_order = OrderOf(codec.field_order);
    TakeTimes(times, {stream.time_base.num, stream.time_base.den},
              {stream.avg_frame_rate.num, stream.avg_frame_rate.den});
  }

  void TakeTimes(const std::vector<int64_t>& times, Rational tick, Rational stated) {
    const auto missing = std::ranges::find(times, AV_NOPTS_VALUE);
    if (missing != times.end()) {
      Fail("frame " + std::to_string(missing - times.begin()) + " has no time");
    }
    if (tick.num <= 0 || tick.den <= 0) Fail("does not tell how it counts time");
    try {
      beats_ = FindFrameBeats(times, tick, stated);
    } catch (const InputError& error) {
      Fail(error.what());
    }
    format_.rate = beats_.rate;
    format_.rate_assumed = times.size() < 2 && (stated.num <= 0 || stated.den <= 0);
    if (!beats_.problem.empty()) problems_.push_back(beats_.problem);
    if (times.empty()) return;
    video_start_ = static_cast<double>(times[0]) * static_cast<double>(tick.num) /
                   static_cast<double>(tick.den);
  }

  void TakeSound(int number) {
    const AVStream& stream = Stream(number);
    if (stream.codecpar->codec_type != AVMEDIA_TYPE_AUDIO) return;
    const PacketTotals& totals = totals_[static_cast<size_t>(number)];
    if (const auto format = AviSoundFormat(*stream.codecpar, totals)) {
      sound_.push_back({number, *format});
    } else {
      problems_.push_back("sound stream " + std::to_string(number) + " is left out: AVI cannot " +
                          "hold " + CodecName(stream));
    }
  }

  std::shared_ptr<const ByteSource> source_;
  std::string name_;
  const ContainerName& container_;
  std::unique_ptr<Demuxer> demuxer_;
  int video_ = -1;
  VideoFormat format_;
  std::vector<PacketTotals> totals_;
  std::vector<Sound> sound_;
  std::vector<std::string> problems_;
  double video_start_ = 0;  // seconds
  double end_ = 0;          // of all that was read, in seconds
  FrameBeats beats_;
  size_t next_ = 0;   // frame
  int64_t beat_ = 0;  // of what is read next
};

}  // namespace

std::unique_ptr<ContainerReader> OpenContainer(std::shared_ptr<const ByteSource> source,
                                               const std::string& name,
                                               const ContainerName& container) {
  return std::make_unique<Reader>(std::move(source), name, container);
}

std::string ContainerLibrary() try {
  const unsigned version = LoadLibAv().avformat_version();
  return "libavformat " + std::to_string(version >> 16) + "." +
         std::to_string(version >> 8 & 0xFF) + "." + std::to_string(version & 0xFF);
} catch (const InputError&) {
  return "no libavformat " + std::to_string(LIBAVFORMAT_VERSION_MAJOR) + " (install libavformat" +
         std::to_string(LIBAVFORMAT_VERSION_MAJOR) + " for MOV, MP4, Matroska and NUT)";
}

}  // namespace tkmjpg::tool
