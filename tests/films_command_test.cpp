// Films of other programs through the command: what FFmpeg writes comes in with its rate, its
// frames and its sound, and what goes out FFmpeg reads.
#include "tests/command_runner.h"

namespace {

class Films : public CommandTest {
 protected:
  void SetUp() override {
    Ffmpeg(
        "-f lavfi -i testsrc2=s=64x48:r=30000/1001 "
        "-f lavfi -i 'aevalsrc=sin(440*2*PI*t)|sin(660*2*PI*t):s=48000' -t 1 "
        "-c:v mjpeg -pix_fmt yuvj422p -c:a pcm_s16le source.mov");
  }

  void Ffmpeg(const std::string& arguments) const {
    const Result result = Shell("ffmpeg -v error -nostdin -y " + arguments);
    ASSERT_EQ(result.code, 0) << arguments << ": " << result.errors;
  }
  // The checksum of all that a stream holds, "a" or "v".
  std::string Digest(const std::string& film, const std::string& stream) const {
    return Shell("ffmpeg -v error -i " + film + " -map 0:" + stream + " -c copy -f md5 -").out;
  }
  std::string Probe(const std::string& film, const std::string& entries) const {
    return Shell("ffprobe -v error -show_entries stream=" + entries + " -of csv=p=0 " + film).out;
  }
  std::string FirstLines(const std::string& film) const {
    const std::string out = Run("info " + film).out;
    return out.substr(0, out.find("\n\n"));
  }
};

TEST_F(Films, WavGoesInAndComesOut) {
  Ffmpeg("-i source.mov -map 0:a -c copy -bitexact in.wav");
  RunWell("repair source.mov silent.mjpg -q");
  RunWell("repair silent.mjpg with.avi --rate 30000/1001 --sound in.wav");
  EXPECT_EQ(Digest("with.avi", "a"), Digest("source.mov", "a"));
  RunWell("decode with.avi out.y4m --sound out.wav -q");
  EXPECT_EQ(Digest("out.wav", "a"), Digest("source.mov", "a"));
  RunWell("decode source.mov out.y4m -f --sound mov.wav -q");
  EXPECT_EQ(Digest("mov.wav", "a"), Digest("source.mov", "a"));
  // A part begins at its sample: 10 frames are 16016 of them.
  RunWell("decode with.avi part.avi --frames 10:19 --sound part.wav -q");
  Ffmpeg("-i source.mov -map 0:a -af atrim=start_sample=16016:end_sample=32032 expected.wav");
  EXPECT_EQ(Digest("part.wav", "a"), Digest("expected.wav", "a"));
  EXPECT_EQ(Digest("part.avi", "a"), Digest("expected.wav", "a"));
}

TEST_F(Films, OtherContainersKeepRateFramesAndSound) {
  const struct {
    const char *arguments, *file, *rate;
    const char* sound;  // "same", or what is said of it
  } cases[] = {
      {"-c copy", "a.mov", "30000/1001", "same"},
      {"-c copy", "a.nut", "30000/1001", "same"},
      {"-c copy", "a.mkv", "30000/1001", "same"},
      {"-c:v copy -c:a libmp3lame", "a.mp4", "30000/1001", "MP3"},
      {"-c:v copy -c:a flac", "flac.mkv", "30000/1001", "sound stream 1 is left out"},
      {"-r 24 -c:v mjpeg -c:a copy", "film.mkv", "24/1", "same"},
      {"-r 60000/1001 -c:v mjpeg -c:a copy", "fast.mkv", "60000/1001", "same"},
      {"-r 12.5 -c:v mjpeg -c:a copy", "slow.mov", "25/2", "same"},
      {"-c:v copy -c:a pcm_s16be", "big_endian.mov", "30000/1001", "PCM"},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.file);
    Ffmpeg(std::string("-i source.mov -pix_fmt yuvj422p ") + c.arguments + " " + c.file);
    const Result result = Run(std::string("repair -f --no-verify ") + c.file + " out.avi");
    ASSERT_EQ(result.code, 0) << result.errors;
    const std::string video = Probe("out.avi", "avg_frame_rate,nb_frames");
    EXPECT_EQ(video.rfind(c.rate + std::string(","), 0), 0U) << video;
    const std::string count =
        "-count_packets -select_streams v -show_entries stream=nb_read_packets";
    EXPECT_EQ(Shell("ffprobe -v error -of csv=p=0 " + count + " out.avi").out,
              Shell("ffprobe -v error -of csv=p=0 " + count + " " + c.file).out);
    if (c.sound == std::string("same")) {
      EXPECT_EQ(Digest("out.avi", "a"), Digest("source.mov", "a"));
    } else {
      ExpectHas(FirstLines(c.file), c.sound);
    }
  }
}

// Where no frame is stored for a while, the one before it stays, so that sound stays in step.
TEST_F(Films, KeepTimeWhereFramesAreMissing) {
  Ffmpeg(
      "-i source.mov -vf 'select=not(between(n\\,10\\,14))' -vsync vfr -c:v mjpeg -c:a copy "
      "gap.mov");
  RunWell("repair gap.mov out.avi -q");
  const std::string out = RunWell("info out.avi --json");
  ExpectHas(out, "\"rate\": \"30000/1001\"");
  ExpectHas(out, "\"frames\": 30, \"repeats\": 5");
}

TEST_F(Films, WhatBreaksOffIsTold) {
  const std::pair<const char*, const char*> cases[] = {
      {"cut.mkv", "of the 1.00 s that its header tells are there"},
      {"cut.mov", "Invalid data found when processing input in this MOV or MP4 file"},
  };
  for (const auto& [name, text] : cases) {
    Ffmpeg(std::string("-i source.mov -c copy whole.") + (name + 4));
    const Bytes whole = Output(std::string("whole.") + (name + 4));
    WriteFile(name, Head(whole, whole.size() / 2));
    const Result result = Run(std::string("info ") + name);
    ExpectHas(result.out + result.errors, text);
  }
}

TEST_F(Films, WhatIsNoMotionJpegIsNamed) {
  Ffmpeg("-i source.mov -c:v libx264 -an h264.mp4");
  Ffmpeg("-i source.mov -c:v mpeg2video -c:a mp2 mpeg2.mpg");
  Ffmpeg("-i source.mov -vn -c copy sound.mkv");
  Ffmpeg("-i source.mov -c:v rawvideo -pix_fmt yuyv422 -an raw.avi");
  Ffmpeg(
      "-i source.mov -vf \"setpts='N*N/30/TB'\" -vsync passthrough -enc_time_base 1/90000 "
      "-c:v mjpeg -an ever_slower.mkv");
  WriteFile("noise.bin", Noise(5000, 1));
  WriteFile("cut.mov", Head(Output("source.mov"), 3000));
  const std::pair<const char*, const char*> cases[] = {
      {"h264.mp4", "h264.mp4: video is h264; only Motion-JPEG can be read"},
      {"mpeg2.mpg", "mpeg2.mpg: video is mpeg2video; only"},
      {"sound.mkv", "sound.mkv: is Matroska without video"},
      {"raw.avi", "raw.avi: video is uncompressed; `tkmjpg encode` reads it"},
      {"ever_slower.mkv", "ms apart: no constant rate keeps their times"},
      {"noise.bin", "noise.bin: is no film"},
      {"cut.mov", "cut.mov: "}};
  for (const auto& [file, message] : cases) {
    ExpectRefusal(std::string("decode ") + file + " x.y4m", 1, message);
  }
  ExpectRefusal("decode source.mov x.y4m --rate 25", 2, "--rate: source.mov tells its own");
  ExpectRefusal("encode source.mov x.mjpg --sound in.wav", 2, "--sound needs an output that is");
}

// As what decode makes of it with the same order and range.
TEST_F(Films, EncodeTakesOrderAndRangeAsTold) {
  RunWell("encode -q testcard:48x32@25:3 film.avi --fields top");
  const std::pair<const char*, const char*> cases[] = {
      {"", ""},
      {"--first-image bottom", "--first-image bottom"},
      {"--range full", "--input-range full"},
  };
  std::vector<Bytes> films;
  for (const auto& [decoding, reading] : cases) {
    RunWell(std::string("decode -qf film.avi all.y4m ") + decoding);
    RunWell("encode -qf all.y4m two.mjpg");
    RunWell(std::string("encode -qf film.avi one.mjpg ") + reading);
    EXPECT_EQ(Output("one.mjpg"), Output("two.mjpg")) << reading;
    films.push_back(Output("one.mjpg"));
  }
  EXPECT_TRUE(films[0] != films[1] && films[0] != films[2]);
  ExpectRefusal("encode all.y4m x.avi --first-image top", 2, "--first-image: all.y4m is no film");
}

// The same pictures whatever they come in.
TEST_F(Films, EncodeTakesFilmsAndPictures) {
  Ffmpeg("-i source.mov -frames:v 8 -c:v rawvideo -pix_fmt bgr24 -c:a copy bgr24.avi");
  Ffmpeg("-i bgr24.avi -pix_fmt bgra -c:v rawvideo -c:a copy bgra.avi");
  Ffmpeg("-i bgr24.avi p_%02d.png");
  Ffmpeg("-i bgr24.avi p_%02d.ppm");
  Ffmpeg("-i bgr24.avi -pix_fmt yuyv422 -c:v rawvideo -c:a copy yuy2.avi");
  Ffmpeg("-i yuy2.avi -pix_fmt uyvy422 -c:v rawvideo -c:a copy uyvy.avi");
  // FFmpeg stores from the top down; so that it is from the bottom up when the header says it.
  Ffmpeg("-i bgr24.avi -vf vflip -c:v rawvideo -pix_fmt bgr24 -c:a copy flipped.avi");
  const Bytes flipped = Output("flipped.avi");
  WriteFile("bottom_up.avi", Set(flipped, Find(flipped, {'s', 't', 'r', 'f'}) + 16, {48, 0, 0, 0}));
  RunWell("encode p_%02d.png expected.avi --rate 30000/1001 -q");
  RunWell("encode yuy2.avi expected_yuv.avi -q");
  const std::pair<const char*, const char*> cases[] = {
      {"bgr24.avi", "expected.avi"},
      {"bgra.avi", "expected.avi"},
      {"bottom_up.avi", "expected.avi"},
      {"p_%02d.ppm --rate 30000/1001", "expected.avi"},
      {"uyvy.avi", "expected_yuv.avi"}};
  for (const auto& [input, expected] : cases) {
    SCOPED_TRACE(input);
    RunWell(std::string("encode -f -q ") + input + " out.avi");
    EXPECT_EQ(Digest("out.avi", "v"), Digest(expected, "v"));
    EXPECT_EQ(Probe("out.avi", "avg_frame_rate").substr(0, 10), "30000/1001");
  }
  // A film that is coded again: the pictures that decode gives.
  RunWell("decode source.mov decoded.y4m -q");
  RunWell("encode source.mov again.mjpg -q");
  RunWell("encode decoded.y4m from_y4m.mjpg -q");
  EXPECT_EQ(Output("again.mjpg"), Output("from_y4m.mjpg"));
}

// What a film that is coded again shows is what it showed, in the same range, order and time.
TEST_F(Films, AreCodedAgain) {
  RunWell("encode testcard:64x48@25:9 --fields bottom fields.avi -q");
  Ffmpeg("-i fields.avi -c copy fields.mov");
  const std::pair<const char*, const char*> cases[] = {{"source.mov", "progressive"},
                                                       {"fields.avi", "bottom field first"},
                                                       {"fields.mov", "bottom field first"}};
  for (const auto& [film, order] : cases) {
    SCOPED_TRACE(film);
    RunWell(std::string("encode -f -q --quality 98 ") + film + " out.avi");
    const std::string psnr = RunWell(std::string("compare ") + film + " out.avi");
    EXPECT_GT(std::stod(psnr.substr(psnr.find("Y ") + 2)), 42) << psnr;
    ExpectHas(FirstLines("out.avi"), order);
  }
  RunWell("decode fields.avi decoded.raw -q");
  RunWell("encode decoded.raw from_raw.mjpg --size 64x48 --fields bottom -q");
  RunWell("encode fields.avi again.mjpg -q");
  EXPECT_EQ(Output("again.mjpg"), Output("from_raw.mjpg"));
}

}  // namespace
