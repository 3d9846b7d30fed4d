#include "tables/extension_count.h"

#include <google/protobuf/extension_set.h>

#if GOOGLE_PROTOBUF_VERSION / 1000 != 3021
#error "This file uses internals of protobuf 3.21; adapt util/src/tables/extension_count.cc."
#endif

namespace CmnSys::Util {

using google::protobuf::Message;
using google::protobuf::Reflection;
using google::protobuf::internal::ExtensionSet;

namespace {

// The member is private, but an explicit instantiation may name it.
template <auto GetExtensionSet>
struct Opened {
  friend const ExtensionSet& ExtensionsOf(const Message& message, const Reflection& reflection) {
    return (reflection.*GetExtensionSet)(message);
  }
};
const ExtensionSet& ExtensionsOf(const Message& message, const Reflection& reflection);
template struct Opened<&Reflection::GetExtensionSet>;

}  // namespace

int CountExtensions(const Message& message, const Reflection& reflection) {
  return ExtensionsOf(message, reflection).NumExtensions();
}

}  // namespace CmnSys::Util
