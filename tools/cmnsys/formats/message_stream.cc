#include "formats/message_stream.h"

#include "formats/hex_dump.h"
#include "formats/streams.h"
#include "io/failure.h"

namespace CmnSys::Tool {

namespace {

std::string ReadHexDump(const InputOptions& options) {
  // A dump takes up to five characters for each byte, and its offsets.
  InputOptions text = options;
  text.max_bytes = options.max_bytes * 6 + 1024;
  return ParseHexDump(ReadInput(text), options.Name(), options.max_bytes);
}

}  // namespace

std::unique_ptr<MessageSource> OpenSource(const InputOptions& options, Format format,
                                          const JsonOptions& json) {
  switch (ResolveFormat(format, options.path, Format::kBinary)) {
    case Format::kDelimited:
      return OpenDelimitedSource(options);
    case Format::kText:
      return OpenTextSource(options);
    case Format::kJson:
    case Format::kJsonLines:
      return OpenJsonSource(options, json);
    case Format::kHex:
      return OpenSingleSource(options, ReadHexDump(options));
    case Format::kDelimitedHex:
      return OpenDelimitedSource(options, ReadHexDump(options));
    default:
      return OpenSingleSource(options, ReadInput(options));
  }
}

WireInput ReadWireInput(const InputOptions& options, Format format) {
  switch (ResolveFormat(format, options.path, Format::kBinary)) {
    case Format::kDelimited:
      return {ReadInput(options), true};
    case Format::kHex:
      return {ReadHexDump(options), false};
    case Format::kDelimitedHex:
      return {ReadHexDump(options), true};
    case Format::kText:
    case Format::kJson:
    case Format::kJsonLines:
      throw Failure("text and JSON cannot be read without knowing the message type");
    default:
      return {ReadInput(options), false};
  }
}

std::unique_ptr<MessageSink> OpenSink(const OutputOptions& options, Format format,
                                      const JsonOptions& json) {
  const Format other = options.path == "-" ? Format::kJson : Format::kBinary;
  const Format resolved = ResolveFormat(format, options.path, other);
  switch (resolved) {
    case Format::kDelimited:
      return OpenDelimitedSink(options, false);
    case Format::kDelimitedHex:
      return OpenDelimitedSink(options, true);
    case Format::kText:
      return OpenTextSink(options);
    case Format::kJson:
    case Format::kJsonLines:
      return OpenJsonSink(options, json, resolved == Format::kJsonLines);
    case Format::kHex:
      return OpenSingleSink(options, true);
    default:
      return OpenSingleSink(options, false);
  }
}

}  // namespace CmnSys::Tool
