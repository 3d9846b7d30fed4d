// Inputs that hold a message: the name of its type, a line end, and the message in some form.

#ifndef CMNSYS_FUZZ_MESSAGES_H_
#define CMNSYS_FUZZ_MESSAGES_H_

#include <google/protobuf/message.h>

#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "target.h"

namespace CmnSys::Fuzz {

struct TypedInput {
  const google::protobuf::Message* prototype = nullptr;  // Null when there is no such type.
  std::string_view content;

  std::unique_ptr<google::protobuf::Message> New() const {
    return std::unique_ptr<google::protobuf::Message>(prototype->New());
  }
};

TypedInput SplitInput(std::string_view input);
std::string JoinInput(const google::protobuf::Message& type, std::string_view content);

// How an input holds its message.
struct MessageForm {
  bool (*read)(std::string_view content, google::protobuf::Message* message);
  std::string (*write)(const google::protobuf::Message& message);
};
extern const MessageForm kWireForm;

// An input for every type of the schema, with a random message.
std::vector<std::string> MessageSeeds(const MessageForm& form);

// Changes the message of an input, and its type at times.
std::string MutateInput(const MessageForm& form, std::string_view input, Random* random);

std::vector<std::string> WireSeeds();
std::string MutateWire(std::string_view input, Random* random);

// Changes a message here and there, by reflection: sets, clears and copies fields, adds numbers
// that enums do not declare and fields that types do not know.
void MutateMessage(google::protobuf::Message* message, Random* random);

// The deterministic wire bytes: equal for equal messages.
std::string Bytes(const google::protobuf::Message& message);

}  // namespace CmnSys::Fuzz

#endif  // CMNSYS_FUZZ_MESSAGES_H_
