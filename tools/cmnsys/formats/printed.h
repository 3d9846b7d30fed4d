// Messages that have been printed apart from an output.

#ifndef CMNSYS_TOOLS_FORMATS_PRINTED_H_
#define CMNSYS_TOOLS_FORMATS_PRINTED_H_

#include <google/protobuf/message.h>

#include <cstddef>
#include <string_view>
#include <vector>

#include "formats/message_stream.h"
#include "io/buffer.h"

namespace CmnSys::Tool {

class Printed {
 public:
  // Adds a message in the format of the sink; returns false, and adds nothing, when the sink cannot
  // print it apart. Adds nothing either when that throws.
  bool Add(const MessageSink& sink, const google::protobuf::Message& message);

  // Adds bytes as a message.
  void Add(std::string_view bytes);

  std::size_t bytes() const { return text_.size(); }
  void Clear();

  // The messages, one behind the other, and where each ends.
  std::string_view text() const { return text_.bytes(); }
  const std::vector<std::size_t>& ends() const { return ends_; }

 private:
  Buffer text_;
  std::vector<std::size_t> ends_;
};

}  // namespace CmnSys::Tool

#endif  // CMNSYS_TOOLS_FORMATS_PRINTED_H_
