// What a schema file declares, in the order in which code is generated for it.

#ifndef CMNSYS_COMPILER_MESSAGES_H_
#define CMNSYS_COMPILER_MESSAGES_H_

#include <google/protobuf/descriptor.h>

#include <string>
#include <vector>

namespace CmnSys::Compiler {

// All messages of a file, each before those nested in it.
std::vector<const google::protobuf::Descriptor*> MessagesOf(
    const google::protobuf::FileDescriptor* file);

// All enums of a file, those nested in messages last.
std::vector<const google::protobuf::EnumDescriptor*> EnumsOf(
    const google::protobuf::FileDescriptor* file);

// The fields of a message in the order of their numbers.
std::vector<const google::protobuf::FieldDescriptor*> FieldsByNumber(
    const google::protobuf::Descriptor* message);

bool IsMessage(const google::protobuf::FieldDescriptor* field);
bool IsEnum(const google::protobuf::FieldDescriptor* field);
bool IsText(const google::protobuf::FieldDescriptor* field);     // Strings and bytes.
bool IsNumeric(const google::protobuf::FieldDescriptor* field);  // All else: enums and bools, too.

// A header generated beside the .pb.h of a file: "ProtoBuf/CmnSys/CmnSys.Gid" and the suffix.
std::string HeaderPath(const google::protobuf::FileDescriptor* file, const std::string& suffix);

}  // namespace CmnSys::Compiler

#endif  // CMNSYS_COMPILER_MESSAGES_H_
