#include "tools/tkmjpg/commands/compare_output.h"

#include "tools/tkmjpg/terminal/json.h"
#include "tools/tkmjpg/terminal/print.h"

namespace tkmjpg::tool {
namespace {

void PrintPsnr(const std::string& what, const FrameMeasure& measure) {
  Print("%s: Y %.2f  Cb %.2f  Cr %.2f dB", what.c_str(), Psnr(measure.error[0]),
        Psnr(measure.error[1]), Psnr(measure.error[2]));
}

class TextOutput : public CompareOutput {
 public:
  explicit TextOutput(bool per_frame) : per_frame_(per_frame) {}

  void Begin(const ComparedFacts& /*a*/, const ComparedFacts& /*b*/) override {}

  void Frame(const FrameResult& frame) override {
    if (!per_frame_) return;
    PrintPsnr("frame " + std::to_string(frame.number), frame.measure);
    Print(", SSIM %.5f\n", frame.measure.ssim[0]);
  }

  void End(const CompareSummary& s) override {
    if (s.frames == 0) return;
    PrintPsnr(std::to_string(s.frames) + (s.frames == 1 ? " frame" : " frames"), s.mean);
    Print("\nSSIM: Y %.5f  Cb %.5f  Cr %.5f\n", s.mean.ssim[0], s.mean.ssim[1], s.mean.ssim[2]);
    Print("worst frame: %lld, Y %.2f dB\n", static_cast<long long>(s.worst), Psnr(s.worst_error));
    Print("first difference: %s\n",
          s.first_difference.empty() ? "none" : s.first_difference.c_str());
  }

 private:
  bool per_frame_;
};

std::string FactsObject(const ComparedFacts& facts) {
  const VideoFormat& format = facts.format;
  return JsonObject()
      .Text("file", facts.path)
      .Bool("compressed", facts.compressed)
      .Int("width", format.width)
      .Int("height", format.height)
      .Text("rate", std::to_string(format.rate.num) + "/" + std::to_string(format.rate.den))
      .Text("range", facts.full_range ? "full" : "limited")
      .Done();
}

JsonObject& AddMeasure(JsonObject& object, const FrameMeasure& measure) {
  return object.Raw("psnr", JsonArray(measure.error, [](double e) { return JsonReal(Psnr(e), 4); }))
      .Raw("ssim", JsonArray(measure.ssim, [](double s) { return JsonReal(s, 6); }));
}

class JsonOutput : public CompareOutput {
 public:
  void Begin(const ComparedFacts& a, const ComparedFacts& b) override {
    Print("{\"a\": %s,\n \"b\": %s,\n \"frames\": [", FactsObject(a).c_str(),
          FactsObject(b).c_str());
  }

  void Frame(const FrameResult& frame) override {
    JsonObject object;
    object.Int("frame", frame.number).Int("bytes_a", frame.bytes_a).Int("bytes_b", frame.bytes_b);
    Print("%s\n  %s", frame.number > 0 ? "," : "",
          AddMeasure(object, frame.measure).Done().c_str());
  }

  void End(const CompareSummary& s) override {
    JsonObject object;
    object.Int("frames", s.frames).Bool("complete", s.complete);
    if (s.frames > 0) {
      AddMeasure(object, s.mean)
          .Int("bytes_a", s.bytes_a)
          .Int("bytes_b", s.bytes_b)
          .Int("worst_frame", s.worst)
          .Real("worst_psnr", Psnr(s.worst_error));
    }
    if (!s.first_difference.empty()) object.Text("first_difference", s.first_difference);
    Print("],\n \"summary\": %s}\n", object.Done().c_str());
  }
};

class CsvOutput : public CompareOutput {
 public:
  void Begin(const ComparedFacts& /*a*/, const ComparedFacts& /*b*/) override {
    Print("frame,bytes_a,bytes_b,psnr_y,psnr_cb,psnr_cr,ssim_y,ssim_cb,ssim_cr\n");
  }

  void Frame(const FrameResult& frame) override {
    Print("%lld,%zu,%zu", static_cast<long long>(frame.number), frame.bytes_a, frame.bytes_b);
    for (const double error : frame.measure.error) Print(",%.4f", Psnr(error));
    for (const double ssim : frame.measure.ssim) Print(",%.6f", ssim);
    Print("\n");
  }

  void End(const CompareSummary& /*summary*/) override {}
};

}  // namespace

std::unique_ptr<CompareOutput> MakeTextCompareOutput(bool per_frame) {
  return std::make_unique<TextOutput>(per_frame);
}
std::unique_ptr<CompareOutput> MakeJsonCompareOutput() { return std::make_unique<JsonOutput>(); }
std::unique_ptr<CompareOutput> MakeCsvCompareOutput() { return std::make_unique<CsvOutput>(); }

}  // namespace tkmjpg::tool
