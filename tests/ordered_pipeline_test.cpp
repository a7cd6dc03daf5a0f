// Frames through several threads: none lost, none out of order, and an error stops at its frame.
#include "tools/tkmjpg/commands/ordered_pipeline.h"

#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <stdexcept>
#include <string>
#include <thread>

namespace tkmjpg::tool {
namespace {

constexpr int kNever = 1000;

struct Item {
  int number = 0, result = 0;
};

// A film, and at which frame each step fails.
struct Film {
  int frames, bad_read, bad_work, bad_write;
  int written;
  const char* error;
};

void FailAt(int number, int bad, const char* what) {
  if (number == bad) throw std::runtime_error(what);
}

void CheckFilm(const Film& film, int threads) {
  int next = 0;
  std::atomic<int> written = 0, most_ahead = 0;
  const auto read = [&](Item& item) {
    FailAt(next, film.bad_read, "read");
    if (next == film.frames) return false;
    item.number = next++;
    most_ahead = std::max<int>(most_ahead, next - written);
    return true;
  };
  const auto work = [&](Item& item, int) {
    FailAt(item.number, film.bad_work, "work");
    // Uneven frames overtake each other.
    std::this_thread::sleep_for(std::chrono::microseconds(item.number * 7919 % 50));
    item.result = item.number * 3;
  };
  const auto write = [&](Item& item) {
    FailAt(item.number, film.bad_write, "write");
    EXPECT_EQ(item.result, 3 * written++);
  };
  std::string error;
  try {
    RunOrdered<Item>(threads, read, work, write);
  } catch (const std::runtime_error& thrown) {
    error = thrown.what();
  }
  EXPECT_EQ(error, film.error);
  EXPECT_EQ(written, film.written);
  EXPECT_LE(most_ahead, 2 * threads);
}

TEST(OrderedPipeline, WritesAllBeforeTheFirstError) {
  const Film films[] = {
      {0, kNever, kNever, kNever, 0, ""},     {1, kNever, kNever, kNever, 1, ""},
      {100, kNever, kNever, kNever, 100, ""}, {100, 0, kNever, kNever, 0, "read"},
      {100, 50, kNever, kNever, 50, "read"},  {100, kNever, 0, kNever, 0, "work"},
      {100, kNever, 50, kNever, 50, "work"},  {100, kNever, kNever, 50, 50, "write"},
      {100, 51, 50, kNever, 50, "work"},      {100, 50, kNever, 49, 49, "write"},
      {100, kNever, 99, kNever, 99, "work"},  {100, 100, kNever, kNever, 100, "read"},
  };
  for (const Film& film : films) {
    for (const int threads : {1, 2, 3, 8}) {
      SCOPED_TRACE(testing::Message() << "film " << &film - films << ", threads " << threads);
      CheckFilm(film, threads);
    }
  }
}

}  // namespace
}  // namespace tkmjpg::tool
