// Compiled as C++11 and as C++14: what those standards need from the library beyond C++17.

#include <gtest/gtest.h>

#include "ProtoBuf/Sample/Services.pb.h"

namespace {

// Binding a reference uses the constant itself, so the library must define it.
int NumberOf(const Sample::Base::Outer::Level& level) { return level; }

TEST(OldStandard, NestedEnumConstantsAndServicesLink) {
  EXPECT_EQ(NumberOf(Sample::Base::Outer::LEVEL_HIGH), 7);
  EXPECT_EQ(NumberOf(Sample::Base::Outer::Level_MIN), 3);
  EXPECT_EQ(Sample::Base::Outer::kLevelFieldNumber, 2);
  EXPECT_EQ(Sample::Services::Calls::descriptor()->method_count(), 3);
}

}  // namespace
