#ifndef CMNSYS_UTIL_SRC_TABLES_TYPE_TABLES_H_
#define CMNSYS_UTIL_SRC_TABLES_TYPE_TABLES_H_

#include <google/protobuf/descriptor.h>

#include <memory>
#include <mutex>
#include <shared_mutex>
#include <unordered_map>
#include <utility>

namespace CmnSys::Util {

// What is worked out once for each message or enum type: a `Table`, constructed from the
// `Descriptor`. Tables of generated types are shared by the whole process and stay; their
// descriptors do so, too. Those of other types, whose descriptors may end and leave their address
// to another, end with Forget or this object, up to when their descriptors must live. Objects are
// not thread-safe, what they share is.
template <typename Descriptor, typename Table>
class TypeTables {
 public:
  const Table& Of(const Descriptor& type) {
    static const auto* const generated = google::protobuf::DescriptorPool::generated_pool();
    if (type.file()->pool() == generated) return SharedOf(type);
    std::unique_ptr<const Table>& own = own_[&type];
    if (own == nullptr) own = std::make_unique<const Table>(type);
    return *own;
  }

  void Forget() { own_.clear(); }

 private:
  using Tables = std::unordered_map<const Descriptor*, std::unique_ptr<const Table>>;

  struct Shared {
    std::shared_mutex mutex;
    Tables tables;
  };

  static const Table& SharedOf(const Descriptor& type) {
    // Threads mostly ask for one type again and again.
    thread_local const Descriptor* last = nullptr;
    thread_local const Table* table_of_last = nullptr;
    if (last != &type) {
      table_of_last = &FindShared(type);
      last = &type;
    }
    return *table_of_last;
  }

  static const Table& FindShared(const Descriptor& type) {
    static auto* const shared = new Shared;
    {
      const std::shared_lock lock(shared->mutex);
      const auto known = shared->tables.find(&type);
      if (known != shared->tables.end()) return *known->second;
    }
    // Without the lock: descriptors have locks of their own. Of two threads one works in vain.
    auto table = std::make_unique<const Table>(type);
    const std::unique_lock lock(shared->mutex);
    return *shared->tables.emplace(&type, std::move(table)).first->second;
  }

  Tables own_;
};

}  // namespace CmnSys::Util

#endif  // CMNSYS_UTIL_SRC_TABLES_TYPE_TABLES_H_
