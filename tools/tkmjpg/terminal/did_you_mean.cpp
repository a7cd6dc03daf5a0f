#include "tools/tkmjpg/terminal/did_you_mean.h"

#include <CLI/CLI.hpp>
#include <algorithm>
#include <numeric>
#include <string_view>
#include <utility>
#include <vector>

namespace tkmjpg::tool {
namespace {

using Words = std::vector<std::string>;

// Letters to put in, to take out, to replace, or to swap with their neighbour.
size_t Distance(std::string_view a, std::string_view b) {
  std::vector<size_t> two_above, above, row(b.size() + 1);
  std::iota(row.begin(), row.end(), size_t{0});
  for (size_t i = 1; i <= a.size(); ++i) {
    two_above = std::exchange(above, row);
    row[0] = i;
    for (size_t j = 1; j <= b.size(); ++j) {
      const size_t other = a[i - 1] == b[j - 1] ? 0 : 1;
      row[j] = std::min({above[j] + 1, row[j - 1] + 1, above[j - 1] + other});
      const bool swapped = i > 1 && j > 1 && a[i - 1] == b[j - 2] && a[i - 2] == b[j - 1];
      if (swapped) row[j] = std::min(row[j], two_above[j - 2] + 1);
    }
  }
  return row.back();
}

std::string_view Bare(std::string_view word) {
  word.remove_prefix(std::min(word.find_first_not_of('-'), word.size()));
  return word.substr(0, word.find('='));
}

// Empty if none comes near.
std::string Nearest(const std::string& word, const Words& known) {
  const std::string_view bare = Bare(word);
  size_t nearest = std::max<size_t>(bare.size() / 3, 1) + 1;
  std::string found;
  for (const std::string& candidate : known) {
    const std::string_view name = Bare(candidate);
    size_t distance = Distance(bare, name);
    if (bare.size() > 1 && name.starts_with(bare)) distance = std::min<size_t>(distance, 1);
    if (distance >= nearest) continue;
    nearest = distance;
    found = candidate;
  }
  return found;
}

void AddOptions(const CLI::App& app, Words& names) {
  for (const CLI::Option* option : app.get_options()) {
    for (const std::string& name : option->get_lnames()) names.push_back("--" + name);
  }
}

// What options of earlier versions have become.
std::string_view Replacement(std::string_view word) {
  constexpr std::pair<std::string_view, std::string_view> kReplaced[] = {
      {"top-image-first", "--for players, which is the default"},
      {"invert-fields", "--first-image top"},
      {"use-avi1-markers", "--first-image auto, which is the default"},
      {"full-range", "--range full"},
  };
  for (const auto& [name, replacement] : kReplaced) {
    if (Bare(word) == name) return replacement;
  }
  return {};
}

bool IsOption(const std::string& word) { return word.size() > 1 && word[0] == '-'; }

// `where` is the subcommand that has been named, if any.
std::string ExplainWord(const CLI::App& app, const CLI::App* where, const std::string& word,
                        const std::string& error) {
  if (const std::string_view instead = Replacement(word); !instead.empty()) {
    return (word + ": is gone; use ").append(instead);
  }
  Words known;
  if (where != nullptr) AddOptions(*where, known);
  if (!IsOption(word)) {
    for (const CLI::App* each : app.get_subcommands({})) known.push_back(each->get_name());
  }
  AddOptions(app, known);
  const std::string nearest = Nearest(word, known);
  if (nearest == word)
    return where == nullptr ? error : word + ": belongs after " + where->get_name();
  std::string text = word + ": there is no such " + (IsOption(word) ? "option" : "subcommand");
  if (where != nullptr) text += " of " + where->get_name();
  if (nearest.empty()) {
    return text + "; tkmjpg " + (where != nullptr ? where->get_name() + " " : "") +
           "--help lists them";
  }
  return text + "; did you mean " + nearest + "?";
}

}  // namespace

std::string Explain(const CLI::App& app, const CLI::ParseError& error) {
  const auto named = app.get_subcommands();
  const CLI::App* where = named.empty() ? nullptr : named.front();
  for (const std::string& word : app.remaining(true)) {
    if (word != "--" && (where == nullptr || IsOption(word)))
      return ExplainWord(app, where, word, error.what());
  }
  return error.what();
}

}  // namespace tkmjpg::tool
