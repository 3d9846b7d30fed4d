#ifndef CMNSYS_TOOLS_SCHEMA_GUARD_POOL_ERRORS_H_
#define CMNSYS_TOOLS_SCHEMA_GUARD_POOL_ERRORS_H_

#include <google/protobuf/descriptor.h>

#include <string>

namespace CmnSys::SchemaGuard {

// Collects what a descriptor pool finds wrong with a file, a line each.
class PoolErrors final : public google::protobuf::DescriptorPool::ErrorCollector {
 public:
  void AddError(const std::string& file, const std::string& element,
                const google::protobuf::Message* /*descriptor*/, ErrorLocation /*location*/,
                const std::string& message) override {
    text_ += file + ": " + element + ": " + message + "\n";
  }
  const std::string& text() const { return text_; }

 private:
  std::string text_;
};

}  // namespace CmnSys::SchemaGuard

#endif  // CMNSYS_TOOLS_SCHEMA_GUARD_POOL_ERRORS_H_
