// Pipelines over batches of a type.

#ifndef CMNSYS_TOOLS_PIPELINE_BATCHES_H_
#define CMNSYS_TOOLS_PIPELINE_BATCHES_H_

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <thread>
#include <vector>

#include "pipeline/pipeline.h"

namespace CmnSys::Tool {

// How many threads work unless the user says otherwise: one a processor that the process may use.
// Those that read and write are not counted, they mostly wait. With one, no thread is started.
inline std::size_t DefaultJobs() { return std::max(1U, std::thread::hardware_concurrency()); }

// What is read of an input before it is worth to start threads.
constexpr std::uint64_t kBytesBeforeThreads = std::uint64_t{256} << 10;

// Messages in one batch, and bytes of results from which on a batch is finished in order, so that
// small messages with large results do not pile up.
constexpr std::uint64_t kBatchMessages = 1024;
constexpr std::size_t kMostResultBytes = std::size_t{8} << 20;

// RunPipeline over `Batch`, which has a function `std::size_t bytes() const` and a function
// `void Release()` that gives back unusual amounts of memory. The functions given are those of
// PipelineStages, with batches in place of slots.
template <typename Batch, typename Read, typename Work, typename Write, typename Interrupt>
PipelineEnd RunBatches(std::size_t jobs, std::vector<Batch>* batches, const Read& read,
                       const Work& work, const Write& write, const Interrupt& interrupt) {
  constexpr std::size_t kBytesForEachJob = std::size_t{4} << 20;
  const auto at = [batches](std::size_t slot) { return &(*batches)[slot]; };
  PipelineStages stages;
  stages.read = [&](std::size_t slot) { return read(at(slot)); };
  stages.work = [&](std::size_t slot, std::size_t worker) { work(at(slot), worker); };
  stages.write = [&](std::size_t slot) {
    const bool more = write(at(slot));
    at(slot)->Release();
    return more;
  };
  stages.bytes = [&](std::size_t slot) { return at(slot)->bytes(); };
  stages.interrupt = interrupt;
  return RunPipeline(jobs, jobs * kBytesForEachJob, stages);
}

}  // namespace CmnSys::Tool

#endif  // CMNSYS_TOOLS_PIPELINE_BATCHES_H_
