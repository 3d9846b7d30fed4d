// Messages that each live until the next one.

#ifndef CMNSYS_TOOLS_PIPELINE_FRESH_MESSAGE_H_
#define CMNSYS_TOOLS_PIPELINE_FRESH_MESSAGE_H_

#include <google/protobuf/arena.h>
#include <google/protobuf/message.h>

#include <cstddef>
#include <vector>

namespace CmnSys::Tool {

// A message that is parsed into again keeps each extension that it ever had, and clears and checks
// all of them every time. An event has one of some hundred, so that new messages in memory that is
// used again are faster.
class FreshMessage {
 public:
  explicit FreshMessage(const google::protobuf::Message& prototype) : prototype_(prototype) {}

  // An empty message like the prototype; the one before ends.
  google::protobuf::Message* Next() {
    arena_.Reset();
    return message_ = prototype_.New(&arena_);
  }

  // The message that Next gave last.
  const google::protobuf::Message& operator*() const { return *message_; }

 private:
  static google::protobuf::ArenaOptions Options(std::vector<char>* block) {
    google::protobuf::ArenaOptions options;
    options.initial_block = block->data();
    options.initial_block_size = block->size();
    options.max_block_size = std::size_t{1} << 20;  // Few calls of the allocator for long ones.
    return options;
  }

  const google::protobuf::Message& prototype_;
  std::vector<char> block_ = std::vector<char>(std::size_t{32} << 10);
  google::protobuf::Arena arena_{Options(&block_)};
  google::protobuf::Message* message_ = nullptr;
};

}  // namespace CmnSys::Tool

#endif  // CMNSYS_TOOLS_PIPELINE_FRESH_MESSAGE_H_
