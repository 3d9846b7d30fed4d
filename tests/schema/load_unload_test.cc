#include <dlfcn.h>
#include <google/protobuf/descriptor.h>
#include <google/protobuf/message.h>
#include <gtest/gtest.h>

#include <memory>

namespace CmnSys::Test {
namespace {

using google::protobuf::DescriptorPool;
using google::protobuf::FileDescriptor;
using google::protobuf::Message;
using google::protobuf::MessageFactory;

// Pb::CmnSys::protobuf_AddDesc_ProtoBuf_2fCmnSys_2fCmnSys_2eGid_2eproto()
constexpr const char* kGidRoutine =
    "_ZN2Pb6CmnSys57protobuf_AddDesc_ProtoBuf_2fCmnSys_2fCmnSys_2eGid_2eprotoEv";

std::unique_ptr<Message> NewGid() {
  const FileDescriptor* file =
      DescriptorPool::generated_pool()->FindFileByName("ProtoBuf/CmnSys/CmnSys.Gid.proto");
  if (file == nullptr) return nullptr;
  const Message* prototype =
      MessageFactory::generated_factory()->GetPrototype(file->FindMessageTypeByName("Gid"));
  return std::unique_ptr<Message>(prototype->New());
}

void* Load() {
  void* library = ::dlopen(CMNSYS_LIBRARY, RTLD_NOW | RTLD_LOCAL);
  EXPECT_NE(library, nullptr) << ::dlerror();
  return library;
}

// The runtime keeps pointers into the library, so closing it must not unmap it, and opening it
// again must not register its files a second time.
TEST(LoadAndUnload, TheLibraryCanBeClosedAndOpenedAgain) {
  void* library = Load();
  ASSERT_NE(library, nullptr);
  const std::unique_ptr<Message> before = NewGid();
  ASSERT_NE(before, nullptr);
  ASSERT_TRUE(before->ParseFromString("\x38\x02"));
  ASSERT_EQ(::dlclose(library), 0);

  EXPECT_EQ(before->ShortDebugString(), "type: GID_TYPE_SERVER");

  library = Load();
  ASSERT_NE(library, nullptr);
  auto* routine = reinterpret_cast<void (*)()>(::dlsym(library, kGidRoutine));
  ASSERT_NE(routine, nullptr) << ::dlerror();
  routine();
  const std::unique_ptr<Message> after = NewGid();
  EXPECT_EQ(after->GetDescriptor(), before->GetDescriptor());
  ASSERT_EQ(::dlclose(library), 0);
}

// Run under a leak checker, this finds what shutdown leaves behind of a loaded library.
TEST(LoadAndUnload, ShutdownReleasesWhatAClosedLibraryRegistered) {
  void* library = Load();
  ASSERT_NE(library, nullptr);
  ASSERT_EQ(NewGid()->GetTypeName(), "Pb.CmnSys.Gid");
  ASSERT_EQ(::dlclose(library), 0);
  google::protobuf::ShutdownProtobufLibrary();
}

}  // namespace
}  // namespace CmnSys::Test
