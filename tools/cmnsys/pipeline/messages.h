// The work of a command on each message of an input, on all processors.

#ifndef CMNSYS_TOOLS_PIPELINE_MESSAGES_H_
#define CMNSYS_TOOLS_PIPELINE_MESSAGES_H_

#include <google/protobuf/message.h>

#include <cstddef>
#include <exception>
#include <functional>
#include <memory>
#include <utility>
#include <vector>

#include "formats/message_stream.h"
#include "io/progress.h"
#include "pipeline/batches.h"
#include "pipeline/fresh_message.h"

namespace CmnSys::Tool {

// What a command does. `Part` holds what comes of some messages, and has functions
// `std::size_t bytes() const`, the memory it takes, and `void Clear()`.
template <typename Part>
struct MessageWork {
  // All of the work on the next message. Returns false when no more are wanted.
  std::function<bool(const google::protobuf::Message&)> in_order;
  // What of it needs no order, for a message behind those of the part. Returns false, with the part
  // as it was, for a message that needs in_order. Called on several threads at a time.
  std::function<bool(const google::protobuf::Message&, Part*)> apart;
  // The rest of the work on the messages of a part. Returns false when no more are wanted.
  std::function<bool(Part*)> join;
};

// Does the work on all messages of a source, in messages that are made like `prototype`. What is
// thrown, printed and returned is the same for any number of jobs: threads only do what goes well,
// and come upon anything else, it is done again in order.
template <typename Part>
class ForEachMessage {
 public:
  ForEachMessage(MessageSource* source, const google::protobuf::Message& prototype,
                 Progress* progress, MessageWork<Part> work)
      : source_(*source),
        prototype_(prototype),
        progress_(*progress),
        work_(std::move(work)),
        message_(prototype) {}

  void Run(std::size_t jobs) {
    while (jobs == 1 || source_.position() < kBytesBeforeThreads) {
      if (!Next()) return;
    }
    std::vector<Batch> batches(PipelineSlots(jobs));
    for (Batch& batch : batches) batch.block = source_.NewBlock();
    // The last one tells: when it could be made, all could.
    if (batches.back().block != nullptr && RunThreads(jobs, &batches) == PipelineEnd::kWriter) {
      return;
    }
    while (Next()) {
    }
  }

 private:
  struct Batch {
    std::unique_ptr<MessageBlock> block;
    Part part;

    std::size_t bytes() const { return block->bytes() + part.bytes(); }
    void Release() {
      block->Release();
      part.Clear();
    }
  };

  bool Next() {
    if (!source_.Next(message_.Next())) return false;
    const bool more = work_.in_order(*message_);
    progress_.Update(source_.position());
    return more;
  }

  PipelineEnd RunThreads(std::size_t jobs, std::vector<Batch>* batches) {
    std::vector<std::unique_ptr<FreshMessage>> messages(jobs);
    for (auto& message : messages) message = std::make_unique<FreshMessage>(prototype_);
    return RunBatches(
        jobs, batches,
        [this](Batch* batch) { return source_.Take(kBatchMessages, batch->block.get()); },
        [this, &messages](Batch* batch, std::size_t worker) {
          Work(batch, messages[worker].get());
        },
        [this](Batch* batch) { return Join(batch); }, [this] { source_.Interrupt(); });
  }

  // Does what can be done apart; the block then stands at the first message that is left.
  void Work(Batch* batch, FreshMessage* message) {
    MessageBlock& block = *batch->block;
    try {
      while (batch->part.bytes() < kMostResultBytes && block.Next(message->Next())) {
        if (!work_.apart(**message, &batch->part)) {
          block.Back();
          return;
        }
      }
    } catch (const std::exception&) {
      block.Back();
    }
  }

  bool Join(Batch* batch) {
    MessageBlock& block = *batch->block;
    bool more = work_.join(&batch->part);
    while (more && block.Next(message_.Next())) {
      more = work_.in_order(*message_);
      progress_.Update(block.position());
    }
    progress_.Update(block.position());
    return more;
  }

  MessageSource& source_;
  const google::protobuf::Message& prototype_;
  Progress& progress_;
  MessageWork<Part> work_;
  FreshMessage message_;
};

}  // namespace CmnSys::Tool

#endif  // CMNSYS_TOOLS_PIPELINE_MESSAGES_H_
