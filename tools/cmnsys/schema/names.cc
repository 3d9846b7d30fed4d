#include "schema/names.h"

#include <google/protobuf/descriptor.h>

#include <algorithm>

#include "CmnSys/Util/Schema.h"

namespace CmnSys::Tool {

using google::protobuf::FileDescriptor;

namespace {

std::vector<std::string> FilesWithAreas(const std::vector<const FileDescriptor*>& files) {
  std::size_t width = 0;
  for (const FileDescriptor* file : files) width = std::max(width, file->name().size());
  std::vector<std::string> lines;
  for (const FileDescriptor* file : files) {
    lines.push_back(file->name() + std::string(width - file->name().size() + 2, ' ') +
                    Util::SchemaArea(*file));
  }
  return lines;
}

std::vector<std::string> ServiceNames(const std::vector<const FileDescriptor*>& files) {
  std::vector<std::string> names;
  for (const FileDescriptor* file : files) {
    for (int i = 0; i < file->service_count(); ++i) names.push_back(file->service(i)->full_name());
  }
  std::sort(names.begin(), names.end());
  return names;
}

// SERVICE/METHOD
std::vector<std::string> MethodNames(const std::vector<const FileDescriptor*>& files) {
  std::vector<std::string> names;
  for (const FileDescriptor* file : files) {
    for (int i = 0; i < file->service_count(); ++i) {
      const google::protobuf::ServiceDescriptor* service = file->service(i);
      for (int j = 0; j < service->method_count(); ++j) {
        names.push_back(service->full_name() + "/" + service->method(j)->name());
      }
    }
  }
  std::sort(names.begin(), names.end());
  return names;
}

}  // namespace

const std::vector<std::string>& NameKinds() {
  static const auto* const kinds =
      new std::vector<std::string>{"messages", "files", "services", "methods", "all"};
  return *kinds;
}

std::vector<std::string> NamesOf(const std::string& kind) {
  const std::vector<const FileDescriptor*>& files = Util::SchemaFiles();
  if (kind == "files") return FilesWithAreas(files);
  if (kind == "services") return ServiceNames(files);
  if (kind == "methods") return MethodNames(files);
  return kind == "messages" ? Util::MessageNames(files) : Util::AllNames(files);
}

}  // namespace CmnSys::Tool
