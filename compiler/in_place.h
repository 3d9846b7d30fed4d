// Which messages can be read and written in place, and what the generated classes for that are
// called and stand in.

#ifndef CMNSYS_COMPILER_IN_PLACE_H_
#define CMNSYS_COMPILER_IN_PLACE_H_

#include <google/protobuf/descriptor.h>
#include <google/protobuf/io/printer.h>

#include <functional>
#include <string>
#include <vector>

#include "options.h"

namespace CmnSys::Compiler {

constexpr char kViewSuffix[] = ".view.h";
constexpr char kWriterSuffix[] = ".writer.h";

// Whether the messages of a file can have views and writers at all: not those of proto3, of the
// runtime, and of files that may come from protoc's generator alone.
bool IsInPlace(const google::protobuf::FileDescriptor* file, const Options& options);

// Whether a message has a view and a writer. It has none where those do not do what the runtime
// does: with oneofs, maps, groups, required fields and enums of files without views; nor where
// another message of the file has the name of one of them.
bool IsInPlace(const google::protobuf::Descriptor* message, const Options& options);

std::string ViewName(const google::protobuf::Descriptor* message);
std::string WriterName(const google::protobuf::Descriptor* message);

// Writes a header of classes for the messages of a file that are in place.
class InPlaceHeader {
 public:
  InPlaceHeader(const google::protobuf::FileDescriptor* file, const Options& options,
                google::protobuf::io::Printer* printer);

  const std::vector<const google::protobuf::Descriptor*>& messages() const { return messages_; }

  // Writes the header up to its includes. `suffix` is that of its path and of those of its imports;
  // `comment` tells what it holds.
  void Begin(const std::string& suffix, const std::string& comment,
             const std::vector<std::string>& includes);

  // Declares the enums, messages and classes of the file, and which class is a message's: `kind`
  // ends the names of the classes.
  void Declare(const std::string& kind);

  // Writes declarations into the namespace of the schema file.
  void InNamespace(const std::function<void()>& write);

  void End();

 private:
  const google::protobuf::FileDescriptor* file_;
  const Options& options_;
  google::protobuf::io::Printer* printer_;
  std::string guard_;
  std::vector<const google::protobuf::Descriptor*> messages_;
};

}  // namespace CmnSys::Compiler

#endif  // CMNSYS_COMPILER_IN_PLACE_H_
