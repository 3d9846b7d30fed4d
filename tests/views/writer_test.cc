#include <gtest/gtest.h>

#include <string>
#include <string_view>

#include "CmnSys/View/View.h"
#include "ProtoBuf/CmnSys/CmnSys.Events.pb.h"
#include "ProtoBuf/CmnSys/CmnSys.Events.view.h"
#include "ProtoBuf/CmnSys/CmnSys.Events.writer.h"
#include "ProtoBuf/CmnSys/CmnSys.EventsDerived.pb.h"
#include "ProtoBuf/CmnSys/CmnSys.EventsDerived.writer.h"
#include "ProtoBuf/CmnSys/CmnSys.Iotas.pb.h"
#include "ProtoBuf/CmnSys/CmnSys.Iotas.view.h"
#include "ProtoBuf/CmnSys/CmnSys.Iotas.writer.h"

namespace CmnSys::Test {
namespace {

using Pb::CmnSys::Gid;
using Pb::CmnSys::GidView;
using Pb::CmnSys::GidWriter;
using Pb::CmnSys::Iota;
using Pb::CmnSys::IotaView;
using Pb::CmnSys::IotaWriter;
using Pb::CmnSys::Events::Event;
using Pb::CmnSys::Events::EventPair;
using Pb::CmnSys::Events::EventPairWriter;
using Pb::CmnSys::Events::EventView;
using Pb::CmnSys::Events::EventWriter;
using std::string_literals::operator""s;
namespace Events = Pb::CmnSys::Events;

TEST(Writer, WritesTheFewestBytesOfEachLength) {
  // Alone, and with one buffer, which remembers lengths that are longer or shorter.
  View::WriteBuffer shared;
  const std::size_t sizes[] = {0,   1,     116,   117,   118,   119,   120,     127,   128,    200,
                               129, 16370, 16371, 16372, 16384, 16385, 2097160, 16383, 100000, 5};
  for (const std::size_t size : sizes) {
    EventPair pair;
    pair.mutable_event()->mutable_originating_server_gid()->set_id(std::string(size, 'x'));
    pair.mutable_event()->set_this_id(-1);
    pair.mutable_linked_event()->set_this_id(1);
    View::WriteBuffer fresh;
    for (View::WriteBuffer* const buffer : {&fresh, &shared}) {
      {
        EventPairWriter writer(buffer);
        {
          EventWriter event = writer.mutable_event();
          event.set_this_id(-1);
          event.mutable_originating_server_gid().set_id(pair.event().originating_server_gid().id());
        }
        writer.mutable_linked_event().set_this_id(1);
      }
      EXPECT_TRUE(buffer->bytes() == pair.SerializeAsString()) << size;
    }
  }
}

void WriteNested(IotaWriter* writer, int depth) {
  if (depth == 0) return;
  auto text = writer->mutable_iota_localized_string();
  auto value = text.mutable_val();
  IotaWriter argument = value.add_arguments();
  WriteNested(&argument, depth - 1);
}

void WriteNested(View::WriteBuffer* buffer, int depth) {
  IotaWriter writer(buffer);
  WriteNested(&writer, depth);
}

TEST(Writer, NestsAsDeepAsParsersAndDeeper) {
  View::WriteBuffer buffer;
  WriteNested(&buffer, 2000);
  WriteNested(&buffer, 33);
  Iota iota;
  EXPECT_TRUE(iota.ParseFromString(std::string(buffer.bytes())));
  EXPECT_TRUE(buffer.bytes() == iota.SerializeAsString());

  // A view that is too deep has no bytes to copy.
  WriteNested(&buffer, 34);
  IotaView deepest(buffer.bytes());
  while (!deepest.HasError()) {
    deepest = *deepest.iota_localized_string().val().arguments().begin();
  }
  View::WriteBuffer copied;
  {
    IotaWriter writer(&copied);
    auto text = writer.mutable_iota_localized_string();
    auto value = text.mutable_val();
    EXPECT_FALSE(value.add_arguments(deepest));
  }
  EXPECT_EQ(copied.bytes(), "\xe2\x0d\x02\x0a\x00"s);
}

TEST(Writer, CopiesSubMessagesAsTheyAre) {
  // The Gid of the event in two pieces, with an unknown field.
  const std::string split =
      "\x8a\x01\x03\x0a\x01"
      "a\x8a\x01\x06\x12\x01"
      "b\xf8\x7f\x05"s;
  const EventView source(split);
  Gid gid;
  gid.set_id(std::string(500, 'i'));
  View::WriteBuffer buffer;
  {
    EventPairWriter writer(&buffer);
    {
      EventWriter event = writer.mutable_event();
      EXPECT_TRUE(event.set_originating_server_gid(source.originating_server_gid()));
      EXPECT_TRUE(event.SetExtension(Events::event_device_motion_start, "\x0a\x01x"));
    }
    EventWriter linked = writer.mutable_linked_event();
    EXPECT_TRUE(linked.set_originating_server_gid(gid));
  }
  EventPair pair;
  pair.mutable_event()->mutable_originating_server_gid()->ParseFromString(
      "\x0a\x01"
      "a\x12\x01"
      "b\xf8\x7f\x05"s);
  pair.mutable_event()->MutableExtension(Events::event_device_motion_start)->set_device_id("x");
  *pair.mutable_linked_event()->mutable_originating_server_gid() = gid;
  EXPECT_TRUE(buffer.bytes() == pair.SerializeAsString());
}

TEST(Writer, ForwardsAMessageWithChanges) {
  const std::string bytes =
      "\x38\xe8\x07"  // a number that the enum does not have yet
      "\x0a\x01x"     // the id
      "\xf8\x7f\x05"  // unknown fields of each kind
      "\xfa\x7f\x02hi"
      "\xfb\x7f\x08\x01\xfc\x7f"
      "\xf9\x7f\x01\x02\x03\x04\x05\x06\x07\x08"s;
  View::WriteBuffer buffer;
  {
    GidWriter writer(&buffer);
    writer.AppendFields(bytes);
    writer.set_id("y");
  }
  EXPECT_EQ(GidView(buffer.bytes()).id(), "y");
  EXPECT_EQ(buffer.Take(), bytes + "\x0a\x01y");
  EXPECT_EQ(buffer.bytes(), "");
  {
    GidWriter writer(&buffer);
    GidView(bytes).ForEachUnknownField(
        [&writer](const View::UnknownField& field) { writer.AppendField(field); });
  }
  EXPECT_EQ(buffer.bytes(), "\x38\xe8\x07"s + bytes.substr(6));
}

TEST(Writer, HasAnErrorWhereTheMessageIsTooLong) {
  for (const std::size_t max_size : {0, 1, 12, 13, 127, 500, 1010, 5000}) {
    for (const std::size_t more : {0, 1, 100, 100000}) {
      View::WriteBuffer buffer(max_size);
      const auto write = [&buffer](std::size_t size) {
        EventWriter writer(&buffer);
        for (std::size_t i = 0; i < size % 4; ++i) writer.AppendFields("x");
        for (std::size_t i = 0; i < size / 4 / 2; ++i) writer.set_this_id(1);
        const std::string rest(size - size % 4 - size / 4 / 2 * 2, 'x');
        writer.AppendFields(rest);
      };
      write(max_size);
      EXPECT_FALSE(buffer.HasError()) << max_size;
      EXPECT_EQ(buffer.bytes().size(), max_size);
      write(max_size + more);
      EXPECT_EQ(buffer.HasError(), more > 0) << max_size << " " << more;
      EXPECT_EQ(buffer.bytes().size(), more > 0 ? 0 : max_size);
      // Nested, where there is no room even for the lengths.
      {
        EventPairWriter pair(&buffer);
        for (std::size_t i = 0; i < max_size; ++i) {
          EventWriter event = pair.mutable_event();
          event.mutable_originating_server_gid().set_id(std::string(i % 300, 'x'));
        }
        pair.mutable_event().set_this_id(1);
      }
      EXPECT_TRUE(buffer.HasError()) << max_size;
      write(max_size);
      EXPECT_FALSE(buffer.HasError()) << max_size;
    }
  }
}

// Each ends the program with a sentence that tells what was wrong.
TEST(WriterDeathTest, TellsWhatIsWrongInTheProgram) {
  struct Case {
    void (*wrong)(View::WriteBuffer* buffer);
    const char* sentence;
  };
  const Case cases[] = {
      {[](View::WriteBuffer* buffer) {
         EventWriter event(buffer);
         GidWriter gid = event.mutable_originating_server_gid();
         event.set_this_id(1);
       },
       "used while a nested one of it is open"},
      {[](View::WriteBuffer* buffer) {
         EventWriter event(buffer);
         GidWriter gid = event.mutable_originating_server_gid();
         event.AppendFields("");
       },
       "used while a nested one of it is open"},
      {[](View::WriteBuffer* buffer) {
         EventWriter event(buffer);
         GidWriter gid = event.mutable_originating_server_gid();
         event.Close();
       },
       "closed while a nested one of it is open"},
      {[](View::WriteBuffer* buffer) {
         GidWriter gid(buffer);
         gid.Close();
         gid.set_id("");
       },
       "used after it was closed"},
      {[](View::WriteBuffer* buffer) {
         const GidWriter gid(buffer);
         buffer->bytes();
       },
       "while the writer of its message is open"},
      {[](View::WriteBuffer* buffer) {
         const GidWriter gid(buffer);
         const GidWriter other(buffer);
       },
       "while the writer of its message is open"},
      {[](View::WriteBuffer* buffer) {
         GidWriter(buffer).set_id("more than the few bytes that are not looked at");
         const std::string_view own = buffer->bytes();
         GidWriter(buffer).AppendFields(own);
       },
       "bytes of its own"},
  };
  for (const Case& one : cases) {
    View::WriteBuffer buffer;
    EXPECT_DEATH(one.wrong(&buffer), one.sentence);
  }
}

}  // namespace
}  // namespace CmnSys::Test
