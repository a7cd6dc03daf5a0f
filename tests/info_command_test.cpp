// tkmjpg info as a user runs it.
#include <algorithm>

#include "tests/command_runner.h"

namespace {

class InfoCommand : public CommandTest {};

TEST_F(InfoCommand, SumsUpInTenLines) {
  RunWell("encode testcard:720x576@25:3 whole.avi -q --quality 60");
  RunWell("encode testcard:96x64@30000/1001:40 fields.avi -q --fields bottom --quality 80");
  RunWell("encode testcard:96x64@25:4 alpha.mjpg -q --alpha");
  RunWell("repair whole.avi bare.mjpg -q --no-huffman-tables");
  RunWell("encode testcard:32x16@1:4000 long.avi -q");
  const struct {
    const char *file, *line;
  } cases[] = {
      {"whole.avi",
       "whole.avi: OpenDML AVI, MJPG\n  picture   720x576, pixels 1:1, shown as 5:4\n"},
      {"whole.avi", " Mbit/s, "},
      {"whole.avi", "\n  length    0:00.120, 3 frames, 25 a second\n"},
      {"whole.avi", "\n  coding    4:2:2, quality 60, Huffman tables standard\n"},
      {"whole.avi", "\n  fields    progressive\n  range     luma 16 to 235 ("},
      {"whole.avi", "\n  sound     none\n  index     right\n  damage    none\n"},
      {"fields.avi", "\n  length    0:01.335, 40 frames, 29.97 a second\n"},
      {"fields.avi", "\n  fields    bottom field first, 40 field pairs; the first image has the "},
      {"alpha.mjpg", ", 4 with alpha\n"},
      {"bare.mjpg", "Huffman tables none\n"},
      {"long.avi", "\n  length    1:06:40.000, 4000 frames, 1 a second"},
  };
  for (const auto& c : cases) {
    const std::string text = RunWell(std::string("info ") + c.file);
    ExpectHas(text, c.line);
    EXPECT_LE(std::count(text.begin(), text.end(), '\n'), 10) << text;
  }
}

TEST_F(InfoCommand, ListsFramesOnDemand) {
  RunWell("encode testcard:96x64@25:3 film.avi -q");
  const auto lines = [&](const char* options) {
    const std::string text = RunWell(std::string("info film.avi ") + options);
    return std::count(text.begin(), text.end(), '\n');
  };
  EXPECT_EQ(lines("--frames"), lines("") + 3 + 3);  // with a head and empty lines around them
  ExpectHas(RunWell("info film.avi --frame 1"), "\n  image at byte 0: 96x64");
}

TEST_F(InfoCommand, NamesTheFirstFramesWithAnomalies) {
  RunWell("encode testcard:96x64@25:30 f_%02d.jpg -q");
  Bytes film;
  for (int i = 0; i < 30; ++i) {
    char name[16];
    std::snprintf(name, sizeof name, "f_%02d.jpg", i);
    Bytes frame = Output(name);
    if (i % 2 == 1) frame.resize(frame.size() - 40);
    film.insert(film.end(), frame.begin(), frame.end());
  }
  WriteFile("film.mjpg", film);
  const std::string text = RunWell("info film.mjpg"), all = RunWell("info film.mjpg --frames");
  ExpectHas(text, "\n  damage    15 frames with anomalies\n  frame 1: ");
  ExpectHas(text, "\n  and 5 more; --frames lists them\n");
  ExpectHas(all, "\n  frame 29: ");
}

TEST_F(InfoCommand, JsonIsValidAndAgrees) {
  RunWell("encode testcard:96x64@25:4 film.avi -q --fields top");
  const Result result =
      Shell(TKMJPG_COMMAND " info film.avi --json | python3 -c '" +
            std::string("import json,sys; d=json.load(sys.stdin); ") +
            "s=d[\"summary\"]; print(s[\"seconds\"], len(d[\"frames\"]), "
            "s[\"bytes\"] == sum(f[\"bytes\"] for f in d[\"frames\"]), "
            "abs(s[\"bits_per_second\"] - s[\"bytes\"] * 50) < 1, "
            "d[\"first_image\"], d[\"range\"], d[\"range_from\"], d[\"sound\"])'");
  EXPECT_EQ(result.out, "0.16 4 True True top limited the comment CS=ITU601 []\n") << result.errors;
}

}  // namespace
