#include "schema/schema_database.h"

#include <google/protobuf/io/coded_stream.h>

#include <algorithm>

#include "io/failure.h"

namespace CmnSys::Tool {

using google::protobuf::DescriptorProto;
using google::protobuf::EnumDescriptorProto;
using google::protobuf::FieldDescriptorProto;
using google::protobuf::FileDescriptorProto;
using google::protobuf::FileDescriptorSet;
using google::protobuf::io::CodedInputStream;

namespace {

constexpr std::string_view kOwnFolder = "ProtoBuf/CmnSys/";

constexpr std::uint32_t LengthDelimitedTag(int field_number) {
  return static_cast<std::uint32_t>(field_number) << 3 | 2;
}

[[noreturn]] void Damaged() {
  throw Failure("the schema inside this program is damaged; install it again");
}

// Takes length-delimited fields off the front of a message.
class Fields {
 public:
  explicit Fields(std::string_view bytes)
      : bytes_(bytes),
        in_(reinterpret_cast<const std::uint8_t*>(bytes.data()), static_cast<int>(bytes.size())) {}

  // Goes to the next field and returns whether there is one.
  bool Next() {
    begin_ = static_cast<std::size_t>(in_.CurrentPosition());
    tag_ = in_.ReadTag();
    if (tag_ == 0) return false;
    int size = 0;
    if ((tag_ & 7) != 2 || !in_.ReadVarintSizeAsInt(&size)) Damaged();
    value_ = bytes_.substr(static_cast<std::size_t>(in_.CurrentPosition()));
    if (static_cast<std::size_t>(size) > value_.size()) Damaged();
    value_ = value_.substr(0, static_cast<std::size_t>(size));
    return in_.Skip(size);
  }

  // Where the field begins.
  std::size_t begin() const { return begin_; }
  std::uint32_t tag() const { return tag_; }
  std::string_view value() const { return value_; }

 private:
  std::string_view bytes_;
  CodedInputStream in_;
  std::size_t begin_ = 0;
  std::uint32_t tag_ = 0;
  std::string_view value_;
};

bool Parse(std::string_view bytes, FileDescriptorProto* file) {
  return file->ParseFromArray(bytes.data(), static_cast<int>(bytes.size()));
}

// What a file declares, without the comments, which protoc writes behind it.
FileDescriptorProto Declarations(std::string_view file) {
  Fields fields(file);
  while (fields.Next() &&
         fields.tag() != LengthDelimitedTag(FileDescriptorProto::kSourceCodeInfoFieldNumber)) {
  }
  FileDescriptorProto declarations;
  if (!Parse(file.substr(0, fields.begin()), &declarations)) Damaged();
  return declarations;
}

// Collects full names.
class Names {
 public:
  explicit Names(std::vector<std::string>* names) : names_(names) {}

  template <typename Declarations>
  void AddAll(const std::string& scope, const Declarations& declarations) {
    for (const auto& declaration : declarations) {
      Add(scope + "." + declaration.name(), scope, declaration);
    }
  }

 private:
  void Add(const std::string& name, const std::string& /*scope*/, const DescriptorProto& message) {
    names_->push_back(name);
    AddAll(name, message.field());
    AddAll(name, message.extension());
    AddAll(name, message.enum_type());
    AddAll(name, message.nested_type());
  }

  // Values have the scope of their enum.
  void Add(const std::string& name, const std::string& scope, const EnumDescriptorProto& type) {
    names_->push_back(name);
    AddAll(scope, type.value());
  }

  void Add(const std::string& name, const std::string& /*scope*/,
           const google::protobuf::ServiceDescriptorProto& service) {
    names_->push_back(name);
    AddAll(name, service.method());
  }

  template <typename Other>
  void Add(const std::string& name, const std::string& /*scope*/, const Other& /*declaration*/) {
    names_->push_back(name);
  }

  std::vector<std::string>* names_;
};

}  // namespace

SchemaDatabase::SchemaDatabase(std::string_view set) {
  for (Fields files(set); files.Next();) {
    Fields fields(files.value());
    if (files.tag() != LengthDelimitedTag(FileDescriptorSet::kFileFieldNumber) || !fields.Next() ||
        fields.tag() != LengthDelimitedTag(FileDescriptorProto::kNameFieldNumber)) {
      Damaged();
    }
    files_.push_back({std::string(fields.value()), files.value()});
  }
  std::sort(files_.begin(), files_.end(),
            [](const File& a, const File& b) { return a.path < b.path; });
  for (std::size_t i = 0; i < files_.size(); ++i) AddSymbols(i, Declarations(files_[i].bytes));
  std::sort(symbols_.begin(), symbols_.end(),
            [](const Symbol& a, const Symbol& b) { return a.name < b.name; });
}

void SchemaDatabase::AddSymbols(std::size_t file, const FileDescriptorProto& declarations) {
  const std::string& package = declarations.package();
  for (std::size_t end = 0; end != package.npos;) {
    end = package.find('.', end + 1);
    symbols_.push_back({package.substr(0, end), file, true});
  }
  std::vector<std::string> names;
  Names collector(&names);
  collector.AddAll(package, declarations.message_type());
  collector.AddAll(package, declarations.enum_type());
  collector.AddAll(package, declarations.extension());
  collector.AddAll(package, declarations.service());
  for (std::string& name : names) symbols_.push_back({std::move(name), file, false});
}

std::vector<std::string> SchemaDatabase::OwnPaths() const {
  std::vector<std::string> paths;
  for (const File& file : files_) {
    if (file.path.rfind(kOwnFolder, 0) == 0) paths.push_back(file.path);
  }
  return paths;
}

std::vector<std::string> SchemaDatabase::OwnNames() const {
  std::vector<std::string> names;
  for (const Symbol& symbol : symbols_) {
    if (!symbol.is_package && files_[symbol.file].path.rfind(kOwnFolder, 0) == 0) {
      names.push_back(symbol.name);
    }
  }
  return names;
}

bool SchemaDatabase::FindFileByName(const std::string& path, FileDescriptorProto* file) {
  const auto found =
      std::lower_bound(files_.begin(), files_.end(), path,
                       [](const File& a, const std::string& wanted) { return a.path < wanted; });
  return found != files_.end() && found->path == path && Parse(found->bytes, file);
}

bool SchemaDatabase::FindFileContainingSymbol(const std::string& name, FileDescriptorProto* file) {
  const auto found =
      std::lower_bound(symbols_.begin(), symbols_.end(), name,
                       [](const Symbol& a, const std::string& wanted) { return a.name < wanted; });
  return found != symbols_.end() && found->name == name && Parse(files_[found->file].bytes, file);
}

bool SchemaDatabase::FindFileContainingExtension(const std::string& /*extendee*/, int /*number*/,
                                                 FileDescriptorProto* /*file*/) {
  return false;
}

}  // namespace CmnSys::Tool
