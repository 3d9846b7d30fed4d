#ifndef CMNSYS_UTIL_SRC_TABLES_FIELD_LISTS_H_
#define CMNSYS_UTIL_SRC_TABLES_FIELD_LISTS_H_

#include <google/protobuf/message.h>

#include <utility>
#include <vector>

namespace CmnSys::Util {

// Lists of fields, whose memory serves one message of a thread after the other.
class FieldLists {
 public:
  using Fields = std::vector<const google::protobuf::FieldDescriptor*>;

  FieldLists() { SwapWithThread(); }
  ~FieldLists() { SwapWithThread(); }
  FieldLists(const FieldLists&) = delete;
  FieldLists& operator=(const FieldLists&) = delete;

  // The fields that are set in a message, by number, for as long as this lives.
  class Set {
   public:
    Set(FieldLists* lists, const google::protobuf::Message& message,
        const google::protobuf::Reflection& reflection)
        : Set(lists) {
      reflection.ListFields(message, &fields_);
    }
    // None yet.
    explicit Set(FieldLists* lists) : lists_(lists) {
      if (lists_->spare_.empty()) return;
      fields_ = std::move(lists_->spare_.back());
      fields_.clear();
      lists_->spare_.pop_back();
    }
    ~Set() { lists_->spare_.push_back(std::move(fields_)); }
    Set(const Set&) = delete;
    Set& operator=(const Set&) = delete;

    Fields& operator*() { return fields_; }
    const Fields& operator*() const { return fields_; }

   private:
    FieldLists* lists_;
    Fields fields_;
  };

 private:
  // What the thread keeps from one object to the next.
  void SwapWithThread();

  std::vector<Fields> spare_;
};

}  // namespace CmnSys::Util

#endif  // CMNSYS_UTIL_SRC_TABLES_FIELD_LISTS_H_
