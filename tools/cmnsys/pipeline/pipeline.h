// Work on a stream, spread over threads and in order at both ends.
//
// A library's pipeline (oneTBB has one) does not fit: it bounds batches by their number and not by
// their bytes, and wants input that never makes its threads wait.

#ifndef CMNSYS_TOOLS_PIPELINE_PIPELINE_H_
#define CMNSYS_TOOLS_PIPELINE_PIPELINE_H_

#include <cstddef>
#include <functional>

namespace CmnSys::Tool {

// What is done with one batch after the other. Batches lie in slots that are used again; one stage
// at a time has a slot.
struct PipelineStages {
  // Fills a slot, on a thread of its own. Returns false, with nothing in the slot, when there is no
  // batch, and is then not called again. Must not throw.
  std::function<bool(std::size_t slot)> read;
  // Does what needs no order, on several threads at a time, told by numbers from 0. Must not throw.
  std::function<void(std::size_t slot, std::size_t worker)> work;
  // Does the rest, on the thread that called RunPipeline and in the order of reading. Returns false
  // when no more batches are wanted.
  std::function<bool(std::size_t slot)> write;
  // The memory that a slot takes, in bytes.
  std::function<std::size_t(std::size_t slot)> bytes;
  // Lets a call of `read` that waits for input return false, and those that follow. Called on the
  // thread that called RunPipeline, when no more is to be read.
  std::function<void()> interrupt;
};

enum class PipelineEnd {
  kInput,       // Nothing more could be read; all that was read has been written.
  kWriter,      // `write` wanted no more.
  kNotStarted,  // No thread could be started; nothing has been done.
};

// How many slots a pipeline of so many workers uses.
constexpr std::size_t PipelineSlots(std::size_t workers) { return 2 * workers + 2; }

// Runs the stages with threads of its own, which have ended when this returns. No batch is read
// while those on the way take `max_bytes` or more, unless there is none. What `write` throws ends
// everything and is passed on. Signals are left to the threads that were there before.
PipelineEnd RunPipeline(std::size_t workers, std::size_t max_bytes, const PipelineStages& stages);

}  // namespace CmnSys::Tool

#endif  // CMNSYS_TOOLS_PIPELINE_PIPELINE_H_
