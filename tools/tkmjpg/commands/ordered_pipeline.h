// Frames read in sequence, worked on by several threads, written in the same sequence.
//
// Each thread does whatever is next: write the oldest finished frame, else read a frame and work on
// it. So a frame stays in the cache of the core that read it, and nothing waits while there is
// something to do. Reading and writing are never entered by two threads at once.
#pragma once

#include <condition_variable>
#include <cstdint>
#include <exception>
#include <mutex>
#include <thread>
#include <vector>

namespace tkmjpg::tool {

// Item holds one frame on its way. Items are made once and used again and again, two a thread: that
// is all the memory there is, however long the film.
//   bool Read(Item&)           false at the end
//   void Work(Item&, int n)    n in [0, threads): which thread runs it, for scratch of its own
//   void Write(Item&)
// If one of them throws, the frames before that one are written, and the first such error in the
// order of frames is thrown to the caller.
template <class Item, class Read, class Work, class Write>
class OrderedPipeline {
 public:
  OrderedPipeline(int threads, Read read, Work work, Write write)
      : slots_(threads * 2), read_(read), work_(work), write_(write) {}

  void Run() {
    std::vector<std::jthread> others;
    for (int n = 1; n < static_cast<int>(slots_.size() / 2); ++n) {
      others.emplace_back([this, n] { Serve(n); });
    }
    Serve(0);
    others.clear();
    if (error_) std::rethrow_exception(error_);
  }

 private:
  struct Slot {
    Item item;
    bool done = false;
  };
  using Lock = std::unique_lock<std::mutex>;

  Slot& SlotOf(int64_t frame) { return slots_[frame % static_cast<int64_t>(slots_.size())]; }

  bool CanWrite() { return !writing_ && written_ < end_ && SlotOf(written_).done; }
  bool CanRead() const {
    return !reading_ && next_ < end_ && next_ - written_ < static_cast<int64_t>(slots_.size());
  }
  bool Finished() const { return written_ >= end_; }

  void Serve(int thread) {
    Lock lock(mutex_);
    for (;;) {
      changed_.wait(lock, [this] { return CanWrite() || CanRead() || Finished(); });
      if (CanWrite()) {
        WriteOldest(lock);
      } else if (CanRead()) {
        ReadAndWork(lock, thread);
      } else {
        return;
      }
      changed_.notify_all();
    }
  }

  void WriteOldest(Lock& lock) {
    writing_ = true;
    const int64_t frame = written_;
    const bool ok = Try(lock, frame, [&] { write_(SlotOf(frame).item); });
    writing_ = false;
    SlotOf(frame).done = false;
    if (ok) ++written_;
  }

  void ReadAndWork(Lock& lock, int thread) {
    reading_ = true;
    const int64_t frame = next_;
    bool more = false;
    Try(lock, frame, [&] { more = read_(SlotOf(frame).item); });
    reading_ = false;
    if (!more) {
      StopAt(frame);
      return;
    }
    ++next_;
    changed_.notify_all();
    Try(lock, frame, [&] { work_(SlotOf(frame).item, thread); });
    SlotOf(frame).done = true;
  }

  // Runs a step of `frame` unlocked. If it throws, `frame` is the end, unless that came earlier.
  template <class Step>
  bool Try(Lock& lock, int64_t frame, Step step) {
    lock.unlock();
    std::exception_ptr error;
    try {
      step();
    } catch (...) {
      error = std::current_exception();
    }
    lock.lock();
    if (error && frame < end_) {
      error_ = error;
      StopAt(frame);
    }
    return !error;
  }

  void StopAt(int64_t frame) {
    if (frame < end_) end_ = frame;
  }

  std::vector<Slot> slots_;
  Read read_;
  Work work_;
  Write write_;

  std::mutex mutex_;
  std::condition_variable changed_;
  int64_t next_ = 0;         // the frame to read next
  int64_t written_ = 0;      // frames before this one are written
  int64_t end_ = INT64_MAX;  // the first frame that will not be written
  bool reading_ = false;
  bool writing_ = false;
  std::exception_ptr error_;
};

template <class Item, class Read, class Work, class Write>
void RunOrdered(int threads, Read read, Work work, Write write) {
  OrderedPipeline<Item, Read, Work, Write>(threads, read, work, write).Run();
}

}  // namespace tkmjpg::tool
