#include "formats/message_stream.h"

#include <utility>

#include "formats/hex_dump.h"
#include "formats/parse.h"
#include "formats/streams.h"
#include "io/failure.h"

namespace CmnSys::Tool {

namespace {

std::vector<std::string> ReadHexDumps(const InputOptions& options) {
  // A dump takes up to five characters for each byte, and its offsets.
  constexpr std::uint64_t kMostCharacters = 6;
  const std::uint64_t most = options.max_bytes * kMostCharacters + 1024;
  std::string text = ReadBeginning(options, most + 1);
  if (text.size() > most) {
    throw Failure(options.Name() + " is longer than a dump of " +
                  std::to_string(options.max_bytes) +
                  " bytes; raise the limit with --max-bytes if that is right");
  }
  DropByteOrderMark(&text);
  return ParseHexDumps(text, options.Name(), options.max_bytes);
}

std::string ReadHexDump(const InputOptions& options) {
  std::vector<std::string> dumps = ReadHexDumps(options);
  if (dumps.size() > 1) {
    throw Failure(options.Name() + " holds " + std::to_string(dumps.size()) +
                  " dumps, each from offset 0, but only one can be read here");
  }
  return std::move(dumps.front());
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
      return OpenWholeSource(options, ReadHexDumps(options));
    case Format::kDelimitedHex:
      return OpenDelimitedSource(options, ReadHexDump(options));
    default:
      return OpenWholeSource(options, {ReadInput(options)});
  }
}

WireInput ReadWireInput(const InputOptions& options, Format format, std::uint64_t most) {
  const Format resolved = ResolveFormat(format, options.path, Format::kBinary);
  switch (resolved) {
    case Format::kHex:
    case Format::kDelimitedHex:
      return {ReadHexDump(options), resolved == Format::kDelimitedHex};
    case Format::kText:
    case Format::kJson:
    case Format::kJsonLines:
      throw Failure(options.Name() +
                    " is text format or JSON by its ending or --from, which cannot be read without "
                    "knowing the message type; if it is a hex dump, say --from hex");
    default:
      break;
  }
  const std::string bytes = ReadBeginning(options, most + 1);
  return {bytes, resolved == Format::kDelimited, bytes.size() <= most};
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
      return OpenHexSink(options);
    default:
      return OpenBinarySink(options);
  }
}

}  // namespace CmnSys::Tool
