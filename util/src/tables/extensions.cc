#include "tables/extensions.h"

namespace CmnSys::Util {

using google::protobuf::Descriptor;
using google::protobuf::DescriptorPool;
using google::protobuf::FieldDescriptor;

namespace {

using List = std::vector<const FieldDescriptor*>;

List KnownOf(const Descriptor& type) {
  List extensions;
  const DescriptorPool* const pool = DescriptorPool::generated_pool();
  if (type.extension_range_count() > 0 && type.file()->pool() == pool) {
    pool->FindAllExtensions(&type, &extensions);
  }
  return extensions;
}

std::vector<NumberIndex::Entry> NumbersOf(const List& extensions) {
  std::vector<NumberIndex::Entry> numbers;
  for (const FieldDescriptor* extension : extensions) {
    numbers.push_back({extension->number(), static_cast<int>(numbers.size())});
  }
  return numbers;
}

}  // namespace

Extensions::Extensions(const Descriptor& type) : all_(KnownOf(type)), by_number_(NumbersOf(all_)) {}

}  // namespace CmnSys::Util
