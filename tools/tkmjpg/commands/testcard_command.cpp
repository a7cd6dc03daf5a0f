#include "tools/tkmjpg/commands/testcard_command.h"

#include <memory>
#include <string>

#include "tools/tkmjpg/error.h"
#include "tools/tkmjpg/media/open_frame_output.h"
#include "tools/tkmjpg/media/test_card.h"
#include "tools/tkmjpg/terminal/interrupt.h"

namespace tkmjpg::tool {
namespace {

constexpr char kFooter[] =
    "Writes what `tkmjpg encode testcard:CARD` codes, without any loss and with its alpha ramp:\n"
    "one frame to NAME.png, or all of them to NAME_%04d.png.";

struct TestcardOptions {
  std::string card, output;
  int64_t frame = 0;
  bool force = false;
};

void WriteCard(const TestcardOptions& options) {
  const auto reader = OpenTestCard(kTestCardPrefix + options.card, FieldOrder::kProgressive);
  FrameOutputOptions target;
  target.alpha = true;
  target.overwrite = options.force ? Overwrite::kReplace : Overwrite::kRefuse;
  const auto writer = OpenFrameWriter(options.output, reader->Format(), target);
  const bool all = options.output.find('%') != std::string::npos;
  if (!all && (options.frame < 0 || options.frame >= reader->FrameCount())) {
    throw UsageError("--frame: the card has no frame " + std::to_string(options.frame));
  }
  Bytes raw, packed;
  Picture picture;
  CatchInterrupts();
  for (int64_t i = 0; reader->Read(raw); ++i) {
    StopIfInterrupted();
    if (!all && i != options.frame) continue;
    reader->Unpack(raw, picture);
    writer->Pack(picture, packed);
    writer->Write(packed);
  }
  writer->Finish();
}

}  // namespace

void AddTestcardCommand(const CommandLine& line) {
  const Command command = line.AddCommand("testcard", "The moving test picture as PNG");
  auto options = std::make_shared<TestcardOptions>();
  command.Add("CARD", options->card, "WxH@RATE or WxH@RATE:FRAMES").Required();
  command.Add("OUTPUT", options->output, "NAME.png or NAME_%04d.png").Required();
  command.Add("--frame", options->frame, "of NAME.png; frames count from 0");
  command.AddFlag("-f,--force", options->force, "replace an output that exists");
  command.Footer(kFooter);
  command.Run([options] { WriteCard(*options); });
}

}  // namespace tkmjpg::tool
