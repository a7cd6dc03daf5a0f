// Frames through several threads: none lost, none out of order, and an error stops at its frame.
#include "tools/tkmjpg/ordered_pipeline.h"

#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <stdexcept>
#include <string>
#include <thread>
#include <vector>

namespace tkmjpg::tool {
namespace {

constexpr int kNever = 1000;

struct Item {
  int number = 0, result = 0;
};

struct Outcome {
  std::vector<int> written;
  std::string error;
  int most_ahead = 0;
};

void FailAt(int number, int bad, const char* what) {
  if (number == bad) throw std::runtime_error(what);
}

Outcome RunFilm(int threads, int frames, int bad_read, int bad_work, int bad_write) {
  Outcome outcome;
  int next = 0;
  std::atomic<int> written = 0, most_ahead = 0;
  const auto read = [&](Item& item) {
    FailAt(next, bad_read, "read");
    if (next == frames) return false;
    item.number = next++;
    most_ahead = std::max<int>(most_ahead, next - written);
    return true;
  };
  const auto work = [&](Item& item, int) {
    FailAt(item.number, bad_work, "work");
    // Uneven frames overtake each other.
    std::this_thread::sleep_for(std::chrono::microseconds(item.number * 7919 % 50));
    item.result = item.number * 3;
  };
  const auto write = [&](Item& item) {
    FailAt(item.number, bad_write, "write");
    outcome.written.push_back(item.result);
    ++written;
  };
  try {
    RunOrdered<Item>(threads, read, work, write);
  } catch (const std::runtime_error& error) {
    outcome.error = error.what();
  }
  outcome.most_ahead = most_ahead;
  return outcome;
}

TEST(OrderedPipeline, WritesAllBeforeTheFirstError) {
  const struct {
    int frames, bad_read, bad_work, bad_write, written;
    const char* error;
  } cases[] = {
      {0, kNever, kNever, kNever, 0, ""},     {1, kNever, kNever, kNever, 1, ""},
      {100, kNever, kNever, kNever, 100, ""}, {100, 0, kNever, kNever, 0, "read"},
      {100, 50, kNever, kNever, 50, "read"},  {100, kNever, 0, kNever, 0, "work"},
      {100, kNever, 50, kNever, 50, "work"},  {100, kNever, kNever, 50, 50, "write"},
      {100, 51, 50, kNever, 50, "work"},      {100, 50, kNever, 49, 49, "write"},
      {100, kNever, 99, kNever, 99, "work"},  {100, 100, kNever, kNever, 100, "read"},
  };
  for (const auto& c : cases) {
    for (const int threads : {1, 2, 3, 8}) {
      SCOPED_TRACE(testing::Message() << c.frames << " " << c.bad_read << " " << c.bad_work << " "
                                      << c.bad_write << ", threads " << threads);
      const Outcome outcome = RunFilm(threads, c.frames, c.bad_read, c.bad_work, c.bad_write);
      EXPECT_EQ(outcome.error, c.error);
      ASSERT_EQ(outcome.written.size(), size_t(c.written));
      for (int i = 0; i < c.written; ++i) EXPECT_EQ(outcome.written[i], 3 * i);
      EXPECT_LE(outcome.most_ahead, 2 * threads);
    }
  }
}

}  // namespace
}  // namespace tkmjpg::tool
