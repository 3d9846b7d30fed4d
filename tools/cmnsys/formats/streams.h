// The single formats behind OpenSource and OpenSink, one source file each.

#ifndef CMNSYS_TOOLS_FORMATS_STREAMS_H_
#define CMNSYS_TOOLS_FORMATS_STREAMS_H_

#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "formats/message_stream.h"

namespace CmnSys::Tool {

// Messages whose bytes are in memory as a whole.
std::unique_ptr<MessageSource> OpenWholeSource(const InputOptions& options,
                                               std::vector<std::string> messages);
// One message.
std::unique_ptr<MessageSink> OpenBinarySink(const OutputOptions& options);
// A dump of each message.
std::unique_ptr<MessageSink> OpenHexSink(const OutputOptions& options);

// Delimited messages: from the input, or in bytes that are in memory.
std::unique_ptr<MessageSource> OpenDelimitedSource(const InputOptions& options);
std::unique_ptr<MessageSource> OpenDelimitedSource(const InputOptions& options,
                                                   std::string_view bytes);
std::unique_ptr<MessageSink> OpenDelimitedSink(const OutputOptions& options, bool hex);

std::unique_ptr<MessageSource> OpenTextSource(const InputOptions& options);
std::unique_ptr<MessageSink> OpenTextSink(const OutputOptions& options);

std::unique_ptr<MessageSource> OpenJsonSource(const InputOptions& options, const JsonOptions& json);
std::unique_ptr<MessageSink> OpenJsonSink(const OutputOptions& options, const JsonOptions& json,
                                          bool lines);

}  // namespace CmnSys::Tool

#endif  // CMNSYS_TOOLS_FORMATS_STREAMS_H_
