#include "analysis/size.h"

#include <google/protobuf/descriptor.h>
#include <google/protobuf/unknown_field_set.h>

#include <algorithm>

#include "analysis/wire_size.h"
#include "text/field_path.h"

namespace CmnSys::Tool {

using google::protobuf::FieldDescriptor;
using google::protobuf::Message;
using google::protobuf::Reflection;
using google::protobuf::UnknownFieldSet;

namespace {

FieldSize* Add(const FieldDescriptor* field, int number, std::uint64_t bytes, std::uint64_t count,
               FieldSize* parent) {
  std::unique_ptr<FieldSize>& size = parent->fields[{field, number}];
  if (size == nullptr) size = std::make_unique<FieldSize>();
  size->bytes += bytes;
  size->count += count;
  return size.get();
}

void AddFields(const Message& message, FieldSize* parent) {
  const Reflection* reflection = message.GetReflection();
  std::vector<const FieldDescriptor*> fields;
  reflection->ListFields(message, &fields);
  for (const FieldDescriptor* field : fields) {
    const int count = field->is_repeated() ? reflection->FieldSize(message, field) : 1;
    FieldSize* size = Add(field, field->number(), FieldBytes(message, *field),
                          static_cast<std::uint64_t>(count), parent);
    if (field->cpp_type() != FieldDescriptor::CPPTYPE_MESSAGE) continue;
    for (int i = 0; i < count; ++i) {
      AddFields(field->is_repeated() ? reflection->GetRepeatedMessage(message, field, i)
                                     : reflection->GetMessage(message, field),
                size);
    }
  }
  const UnknownFieldSet& unknown = reflection->GetUnknownFields(message);
  for (int i = 0; i < unknown.field_count(); ++i) {
    Add(nullptr, unknown.field(i).number(), FieldBytes(unknown.field(i)), 1, parent);
  }
}

// A field among the largest, as the way that leads to it.
struct Found {
  std::uint64_t bytes = 0;
  std::uint64_t count = 0;
  std::vector<std::pair<const FieldDescriptor*, int>> way;
};

bool IsLarger(const Found& a, const Found& b) { return a.bytes > b.bytes; }

// Keeps the largest fields on a heap whose top is the smallest of them.
class Largest {
 public:
  Largest(int max_depth, std::size_t limit) : max_depth_(max_depth), limit_(limit) {}

  void AddBelow(const FieldSize& parent) {
    if (static_cast<int>(way_.size()) == max_depth_) return;
    for (const auto& [key, size] : parent.fields) {
      way_.push_back(key);
      ++total_;
      if (heap_.size() < limit_ || size->bytes > heap_.front().bytes) {
        if (heap_.size() == limit_) {
          std::pop_heap(heap_.begin(), heap_.end(), IsLarger);
          heap_.pop_back();
        }
        heap_.push_back({size->bytes, size->count, way_});
        std::push_heap(heap_.begin(), heap_.end(), IsLarger);
      }
      AddBelow(*size);
      way_.pop_back();
    }
  }

  std::vector<Found> Take() { return std::move(heap_); }
  std::size_t total() const { return total_; }

 private:
  int max_depth_;
  std::size_t limit_;
  std::size_t total_ = 0;
  std::vector<std::pair<const FieldDescriptor*, int>> way_;
  std::vector<Found> heap_;
};

std::string PathText(const std::vector<std::pair<const FieldDescriptor*, int>>& way) {
  std::string path;
  for (const auto& [field, number] : way) {
    if (!path.empty()) path += '.';
    if (field == nullptr) {
      path += std::to_string(number);
    } else {
      path += Util::FieldName(*field) + (field->is_repeated() ? "[]" : "");
    }
  }
  return path;
}

}  // namespace

void AddFieldSizes(const Message& message, FieldSize* all) {
  all->bytes += message.ByteSizeLong();
  ++all->count;
  AddFields(message, all);
}

void MergeFieldSizes(const FieldSize& from, FieldSize* all) {
  all->bytes += from.bytes;
  all->count += from.count;
  for (const auto& [key, size] : from.fields) {
    std::unique_ptr<FieldSize>& merged = all->fields[key];
    if (merged == nullptr) merged = std::make_unique<FieldSize>();
    MergeFieldSizes(*size, merged.get());
  }
}

std::vector<SizeRow> LargestFields(const FieldSize& all, int max_depth, std::size_t limit,
                                   std::size_t* left_out) {
  Largest largest(max_depth, limit);
  largest.AddBelow(all);
  std::vector<SizeRow> rows;
  for (const Found& found : largest.Take()) {
    rows.push_back({PathText(found.way), found.bytes, found.count});
  }
  std::sort(rows.begin(), rows.end(), [](const SizeRow& a, const SizeRow& b) {
    return a.bytes != b.bytes ? a.bytes > b.bytes : a.path < b.path;
  });
  *left_out = largest.total() - rows.size();
  return rows;
}

}  // namespace CmnSys::Tool
