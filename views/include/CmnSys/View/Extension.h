// What the generated identifiers of extensions tell views and writers.

#ifndef CMNSYS_VIEW_EXTENSION_H_
#define CMNSYS_VIEW_EXTENSION_H_

#include <cstdint>
#include <type_traits>

#include "CmnSys/View/Wire.h"

namespace CmnSys::View::internal {

// The message that an extension holds.
template <typename Identifier>
using PayloadOf =
    std::remove_cv_t<std::remove_reference_t<typename Identifier::TypeTraits::ConstType>>;

// The tag of an extension of Message that is a message.
template <typename Message, typename Identifier>
std::uint32_t ExtensionTag(const Identifier& identifier) {
  static_assert(std::is_same_v<typename Identifier::Extendee, Message>,
                "The extension is one of another message.");
  return MakeTag(static_cast<std::uint32_t>(identifier.number()), kLengthDelimited);
}

}  // namespace CmnSys::View::internal

#endif  // CMNSYS_VIEW_EXTENSION_H_
