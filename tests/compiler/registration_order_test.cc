#include <gtest/gtest.h>

#include <string>

#include "ProtoBuf/Sample/NoPackage.pb.h"
#include "ProtoBuf/Sample/Order.pb.h"
#include "stock_routines.h"

namespace CmnSys::Compiler {
namespace {

// Order.proto imports Second, Absent and First, and Absent has no registration routine.
TEST(Registration, CallsTheImportsThatHaveARoutineInDeclaredOrderAheadOfTheFileItself) {
  ASSERT_EQ(stock_routine_call_count, 2);
  EXPECT_STREQ(stock_routine_calls[0].file, "Second");
  EXPECT_STREQ(stock_routine_calls[1].file, "First");
  EXPECT_FALSE(stock_routine_calls[0].importer_was_registered);
  EXPECT_FALSE(stock_routine_calls[1].importer_was_registered);
  EXPECT_NE(google::protobuf::DescriptorPool::generated_pool()->FindFileByName(
                "ProtoBuf/Sample/Order.proto"),
            nullptr);
}

TEST(Registration, DoesNothingWhenCalledAgain) {
  Sample::Order::protobuf_AddDesc_ProtoBuf_2fSample_2fOrder_2eproto();
  ::protobuf_AddDesc_ProtoBuf_2fSample_2fNoPackage_2eproto();
  EXPECT_EQ(stock_routine_call_count, 2);
}

}  // namespace
}  // namespace CmnSys::Compiler
