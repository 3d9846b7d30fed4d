#ifndef CMNSYS_TESTS_VIEWS_IDENTIFIER_H_
#define CMNSYS_TESTS_VIEWS_IDENTIFIER_H_

namespace CmnSys::Test {

// What the generated identifier of an extension tells.
template <typename ExtendeeType, typename Payload, int kNumber>
struct Identifier {
  using Extendee = ExtendeeType;
  struct TypeTraits {
    using ConstType = const Payload&;
  };
  static int number() { return kNumber; }
};

}  // namespace CmnSys::Test

#endif  // CMNSYS_TESTS_VIEWS_IDENTIFIER_H_
