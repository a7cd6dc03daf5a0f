#include "platform/portable/profile.h"

#include <fcntl.h>
#include <strings.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "platform/host_services.h"

namespace tkmjpg {
namespace {

namespace fs = std::filesystem;
using Lines = std::vector<std::string>;

// An open file, or none.
class File {
 public:
  explicit File(int descriptor) : descriptor_(descriptor) {}
  File(const File&) = delete;
  File& operator=(const File&) = delete;
  ~File() {
    if (descriptor_ >= 0) close(descriptor_);
  }
  int descriptor() const { return descriptor_; }
  int Release() { return std::exchange(descriptor_, -1); }

 private:
  int descriptor_;
};

bool SameFile(int file, const char* path) {
  struct stat open {};
  struct stat named {};
  return fstat(file, &open) == 0 && stat(path, &named) == 0 && open.st_dev == named.st_dev &&
         open.st_ino == named.st_ino;
}

// The file at `path`, made as the umask allows if there is none, and closed to other writers until
// it is closed here. A writer that was waited for has put a new file in place of the one that was
// opened: then the new one is opened. A file system without locks is written without one.
int OpenForChange(const char* path) {
  for (;;) {
    File file(open(path, O_RDWR | O_CREAT | O_CLOEXEC, 0666));
    if (file.descriptor() < 0) return -1;
    while (flock(file.descriptor(), LOCK_EX) != 0 && errno == EINTR) continue;
    if (SameFile(file.descriptor(), path)) return file.Release();
  }
}

// Null when it cannot be read.
std::optional<std::string> ReadAll(const File& file) {
  std::string text;
  char part[4096];
  ssize_t count;
  while ((count = read(file.descriptor(), part, sizeof part)) > 0) {
    text.append(part, static_cast<size_t>(count));
  }
  return count == 0 ? std::optional(text) : std::nullopt;
}

bool WriteAll(int file, std::string_view text) {
  while (!text.empty()) {
    const ssize_t count = write(file, text.data(), text.size());
    if (count < 0) return false;
    text.remove_prefix(static_cast<size_t>(count));
  }
  return fsync(file) == 0;
}

// The file that a new one replaces may be reached by a link, and its permissions are kept.
bool ReplaceWhole(const File& old_file, const std::string& path, const std::string& text) {
  struct stat old {};
  const std::string target = fs::canonical(path).string();
  if (fstat(old_file.descriptor(), &old) != 0) return false;

  std::string temporary = target + ".XXXXXX";
  const int file = mkostemp(temporary.data(), O_CLOEXEC);
  if (file < 0) return false;
  const bool written = WriteAll(file, text) && fchmod(file, old.st_mode & 07777) == 0;
  const bool closed = close(file) == 0;
  if (written && closed && rename(temporary.c_str(), target.c_str()) == 0) return true;
  unlink(temporary.c_str());
  return false;
}

std::string_view Trimmed(std::string_view text) {
  constexpr std::string_view kBlanks = " \t\r\n";
  const size_t first = text.find_first_not_of(kBlanks);
  if (first == text.npos) return {};
  return text.substr(first, text.find_last_not_of(kBlanks) + 1 - first);
}

bool SameName(std::string_view a, std::string_view b) {
  return a.size() == b.size() && strncasecmp(a.data(), b.data(), a.size()) == 0;
}

// Each line keeps its own end.
Lines SplitLines(const std::string& text) {
  Lines lines;
  for (size_t start = 0; start < text.size();) {
    const size_t end = text.find('\n', start);
    const size_t next = end == text.npos ? text.size() : end + 1;
    lines.push_back(text.substr(start, next - start));
    start = next;
  }
  return lines;
}

bool IsSectionHead(std::string_view line) { return Trimmed(line).starts_with('['); }

bool IsHeadOf(std::string_view line, std::string_view section) {
  const std::string_view text = Trimmed(line);
  return text.size() >= 2 && text.front() == '[' && text.back() == ']' &&
         SameName(Trimmed(text.substr(1, text.size() - 2)), section);
}

bool IsLineOf(std::string_view line, std::string_view key) {
  const size_t equals = line.find('=');
  return equals != line.npos && SameName(Trimmed(line.substr(0, equals)), key);
}

// Where a key stands, or where it would be added: after the last line of its section that is not
// blank.
struct Place {
  bool has_section = false;
  bool has_key = false;
  size_t line = 0;
};

Place FindKey(const Lines& lines, std::string_view section, std::string_view key) {
  Place place;
  size_t i = 0;
  while (i < lines.size() && !IsHeadOf(lines[i], section)) ++i;
  if (i == lines.size()) return {.line = i};
  place.has_section = true;
  place.line = ++i;
  for (; i < lines.size() && !IsSectionHead(lines[i]); ++i) {
    if (IsLineOf(lines[i], key)) return {.has_section = true, .has_key = true, .line = i};
    if (!Trimmed(lines[i]).empty()) place.line = i + 1;
  }
  return place;
}

void SetKey(Lines& lines, std::string_view section, std::string_view key, std::string_view text) {
  const Place place = FindKey(lines, section, key);
  std::string added;
  if (!place.has_section) added.append("[").append(section).append("]\n");
  added.append(key).append("=").append(text).append("\n");
  if (place.has_key) {
    lines[place.line] = added;
    return;
  }
  if (place.line > 0 && !lines[place.line - 1].ends_with('\n')) lines[place.line - 1] += '\n';
  lines.insert(lines.begin() + static_cast<std::ptrdiff_t>(place.line), added);
}

UINT ParseInteger(std::string_view text) {
  const bool negative = text.starts_with('-');
  if (negative) text.remove_prefix(1);
  const UINT base = text.starts_with("0x") ? 16 : 10;
  if (base == 16) text.remove_prefix(2);
  UINT value = 0;
  for (const char c : text) {
    const UINT digit = c >= '0' && c <= '9'   ? static_cast<UINT>(c - '0')
                       : c >= 'a' && c <= 'f' ? static_cast<UINT>(c - 'a' + 10)
                       : c >= 'A' && c <= 'F' ? static_cast<UINT>(c - 'A' + 10)
                                              : 16;
    if (digit >= base) break;
    value = value * base + digit;
  }
  return negative ? 0 - value : value;
}

}  // namespace

std::string ProfilePath() {
  const char* config = std::getenv("XDG_CONFIG_HOME");
  if (config != nullptr && config[0] == '/') return std::string(config) + "/tkmjpg/profile.ini";
  const char* home = std::getenv("HOME");
  if (home == nullptr || home[0] == '\0') return {};
  return std::string(home) + "/.config/tkmjpg/profile.ini";
}

// No failure leaves the library as an exception.
UINT GetProfileIntA(const char* section, const char* key, int otherwise) try {
  const File file(open(ProfilePath().c_str(), O_RDONLY | O_CLOEXEC));
  const Lines lines = SplitLines(ReadAll(file).value_or(""));
  const Place place = FindKey(lines, section, key);
  if (!place.has_key) return static_cast<UINT>(otherwise);
  const std::string_view line = lines[place.line];
  const std::string_view value = Trimmed(line.substr(line.find('=') + 1));
  return value.empty() ? static_cast<UINT>(otherwise) : ParseInteger(value);
} catch (...) {
  return static_cast<UINT>(otherwise);
}

int WriteProfileStringA(const char* section, const char* key, const char* text) try {
  const std::string path = ProfilePath();
  if (path.empty()) return 0;
  fs::create_directories(fs::path(path).parent_path());
  const File file(OpenForChange(path.c_str()));
  const auto whole = ReadAll(file);
  if (!whole) return 0;
  Lines lines = SplitLines(*whole);
  SetKey(lines, section, key, text);
  std::string joined;
  for (const std::string& line : lines) joined += line;
  return ReplaceWhole(file, path, joined) ? 1 : 0;
} catch (...) {
  return 0;
}

}  // namespace tkmjpg
