// What holds for every message of the schema, on random messages of each type.

#include "util/all_messages.h"

#include <google/protobuf/arena.h>
#include <google/protobuf/dynamic_message.h>
#include <google/protobuf/io/zero_copy_stream_impl_lite.h>
#include <google/protobuf/stubs/logging.h>
#include <google/protobuf/text_format.h>
#include <google/protobuf/unknown_field_set.h>
#include <google/protobuf/util/message_differencer.h>
#include <gtest/gtest.h>

#include <cstdint>
#include <memory>
#include <random>
#include <set>
#include <string>
#include <vector>

#include "CmnSys/Util/RandomMessage.h"
#include "CmnSys/Util/Schema.h"

namespace CmnSys::Test {
namespace {

using google::protobuf::Arena;
using google::protobuf::DynamicMessageFactory;
using google::protobuf::FieldDescriptor;
using google::protobuf::Message;
using google::protobuf::TextFormat;
using google::protobuf::UnknownFieldSet;
using google::protobuf::util::MessageDifferencer;

using MessagePointer = std::unique_ptr<Message>;

MessagePointer NewLike(const Message& message) { return MessagePointer(message.New()); }

MessagePointer Random(const Message& type, std::uint64_t seed,
                      const Util::RandomMessageOptions& options = {}) {
  MessagePointer message = NewLike(type);
  Util::FillRandom(seed, options, message.get());
  return message;
}

MessagePointer Parsed(const Message& type, const std::string& bytes) {
  MessagePointer message = NewLike(type);
  EXPECT_TRUE(message->ParseFromString(bytes)) << "own bytes do not parse";
  return message;
}

// Small messages, for tests that read each of them many times.
Util::RandomMessageOptions Small() {
  Util::RandomMessageOptions options;
  options.max_bytes = 400;
  return options;
}

// Extensions set in the message itself.
std::set<const FieldDescriptor*> Extensions(const Message& message) {
  std::vector<const FieldDescriptor*> fields;
  message.GetReflection()->ListFields(message, &fields);
  std::set<const FieldDescriptor*> extensions;
  for (const FieldDescriptor* field : fields) {
    if (field->is_extension()) extensions.insert(field);
  }
  return extensions;
}

// Calls check(message, seed) for `seeds` random messages of each type, until one fails; for many
// more of a type that has extensions, so that most of these have their turn.
template <class Check>
void ForAllMessages(std::uint64_t seeds, const Util::RandomMessageOptions& options, Check check) {
  // The runtime warns of deprecated fields in text and of strings that are not UTF-8.
  const google::protobuf::LogSilencer silence;
  for (const Message* type : AllMessages()) {
    const std::uint64_t factor = type->GetDescriptor()->extension_range_count() > 0 ? 40 : 1;
    for (std::uint64_t seed = 1; seed <= seeds * factor; ++seed) {
      const MessagePointer message = Random(*type, seed, options);
      check(*message, seed);
      if (testing::Test::HasFailure()) {
        FAIL() << "the message is FillRandom(" << seed << ") of " << type->GetTypeName() << ":\n"
               << message->DebugString();
      }
    }
  }
}

TEST(AllMessages, ComeBackFromBytes) {
  std::set<const FieldDescriptor*> extensions;
  ForAllMessages(8, {}, [&](const Message& message, std::uint64_t /*seed*/) {
    const std::string bytes = message.SerializeAsString();
    const MessagePointer again = Parsed(message, bytes);
    // Equal fields and equal bytes: bytes alone would not show a field that is never written.
    EXPECT_TRUE(MessageDifferencer::Equals(message, *again));
    EXPECT_EQ(again->SerializeAsString(), bytes);
    extensions.merge(Extensions(message));
  });
  EXPECT_GT(extensions.size(), 100U) << "the random messages must reach the extensions";
}

TEST(AllMessages, ComeBackFromText) {
  TextFormat::Printer one_line;
  one_line.SetSingleLineMode(true);
  ForAllMessages(8, {}, [&](const Message& message, std::uint64_t /*seed*/) {
    std::string lines;
    std::string line;
    ASSERT_TRUE(TextFormat::PrintToString(message, &lines));
    ASSERT_TRUE(one_line.PrintToString(message, &line));
    for (const std::string& text : {lines, line}) {
      const MessagePointer again = NewLike(message);
      ASSERT_TRUE(TextFormat::ParseFromString(text, again.get())) << text;
      EXPECT_EQ(again->SerializeAsString(), message.SerializeAsString());
    }
  });
}

TEST(AllMessages, TellTheSizeThatTheyWrite) {
  ForAllMessages(8, {}, [](const Message& message, std::uint64_t /*seed*/) {
    const std::string bytes = message.SerializeAsString();
    EXPECT_EQ(message.ByteSizeLong(), bytes.size());
    EXPECT_EQ(message.GetCachedSize(), static_cast<int>(bytes.size()));

    // Exactly that much room suffices, one byte less does not.
    std::string room(bytes.size(), '\0');
    EXPECT_TRUE(message.SerializeToArray(room.data(), static_cast<int>(room.size())));
    EXPECT_EQ(room, bytes);
    if (!room.empty()) {
      EXPECT_FALSE(message.SerializeToArray(room.data(), static_cast<int>(room.size()) - 1));
    }

    // In pieces, the way that files and sockets are written.
    std::string pieces(bytes.size() + 16, '\0');
    google::protobuf::io::ArrayOutputStream out(pieces.data(), static_cast<int>(pieces.size()), 7);
    EXPECT_TRUE(message.SerializeToZeroCopyStream(&out));
    EXPECT_EQ(out.ByteCount(), static_cast<std::int64_t>(bytes.size()));
    EXPECT_EQ(pieces.substr(0, bytes.size()), bytes);
  });
}

// Nothing of a message is lost in silence: a part of its bytes parses only when it ends between two
// fields, and then it is read as exactly these bytes, never as the whole message.
TEST(AllMessages, ReadNoTruncatedMessageAsWhole) {
  std::size_t accepted = 0;
  ForAllMessages(8, Small(), [&](const Message& message, std::uint64_t /*seed*/) {
    const std::string bytes = message.SerializeAsString();
    const MessagePointer part = NewLike(message);
    for (std::size_t size = 0; size < bytes.size(); ++size) {
      const std::string begin = bytes.substr(0, size);
      if (!part->ParseFromString(begin)) continue;
      ++accepted;
      EXPECT_EQ(part->SerializeAsString(), begin);
      EXPECT_FALSE(MessageDifferencer::Equals(*part, message)) << size << " bytes";
    }
  });
  EXPECT_GT(accepted, 0U);
}

// Bytes with a flipped bit are refused, or read as what they say now: the generated parser agrees
// with the one that works from the descriptors alone, and a message that differs never compares
// equal. (A flip can leave the message as it was, for example in the upper bits of a bool.)
TEST(AllMessages, ReadFlippedBitsAsWhatTheyAre) {
  constexpr int kFlips = 24;
  DynamicMessageFactory dynamic;
  std::size_t refused = 0;
  std::size_t different = 0;
  ForAllMessages(8, Small(), [&](const Message& message, std::uint64_t seed) {
    const std::string bytes = message.SerializeAsString();
    if (bytes.empty()) return;
    const std::string text = message.DebugString();
    const MessagePointer read = NewLike(message);
    const MessagePointer reference(dynamic.GetPrototype(message.GetDescriptor())->New());
    std::mt19937_64 random(seed);
    for (int i = 0; i < kFlips; ++i) {
      std::string flipped = bytes;
      const std::uint64_t bit = random() % (8 * bytes.size());
      flipped[bit / 8] = static_cast<char>(flipped[bit / 8] ^ (1 << (bit % 8)));

      const bool accepted = read->ParseFromString(flipped);
      ASSERT_EQ(reference->ParseFromString(flipped), accepted) << "bit " << bit;
      if (!accepted) {
        ++refused;
        continue;
      }
      const std::string now = read->SerializeAsString();
      EXPECT_EQ(Parsed(message, now)->SerializeAsString(), now) << "bit " << bit;
      EXPECT_EQ(read->DebugString() == text, now == bytes) << "bit " << bit;
      different += now == bytes ? 0 : 1;

      // The two keep a number beyond 32 bits differently when an enum does not know it.
      read->DiscardUnknownFields();
      reference->DiscardUnknownFields();
      EXPECT_EQ(read->SerializeAsString(), reference->SerializeAsString()) << "bit " << bit;
    }
  });
  EXPECT_GT(refused, 0U);
  EXPECT_GT(different, 0U);
}

// Adds one unknown field of each wire type to a message and to all messages in it.
void AddUnknownFields(Message* message) {
  std::vector<const FieldDescriptor*> fields;
  message->GetReflection()->ListFields(*message, &fields);
  for (const FieldDescriptor* field : fields) {
    if (field->cpp_type() != FieldDescriptor::CPPTYPE_MESSAGE) continue;
    const auto* reflection = message->GetReflection();
    if (field->is_repeated()) {
      for (int i = 0; i < reflection->FieldSize(*message, field); ++i) {
        AddUnknownFields(reflection->MutableRepeatedMessage(message, field, i));
      }
    } else {
      AddUnknownFields(reflection->MutableMessage(message, field));
    }
  }
  // The largest field numbers; the schema has none of them.
  UnknownFieldSet* unknown = message->GetReflection()->MutableUnknownFields(message);
  unknown->AddVarint(536870907, 7);
  unknown->AddFixed32(536870908, 7);
  unknown->AddFixed64(536870909, 7);
  unknown->AddLengthDelimited(536870910, std::string("later\0field", 11));
  unknown->AddGroup(536870911)->AddVarint(1, 7);
}

TEST(AllMessages, KeepUnknownFieldsAtAnyDepth) {
  ForAllMessages(8, {}, [](const Message& known, std::uint64_t /*seed*/) {
    const MessagePointer message = NewLike(known);
    message->CopyFrom(known);
    AddUnknownFields(message.get());
    const std::string bytes = message->SerializeAsString();
    EXPECT_GT(bytes.size(), known.ByteSizeLong());

    const MessagePointer again = Parsed(known, bytes);
    EXPECT_EQ(again->SerializeAsString(), bytes);
    EXPECT_EQ(again->GetReflection()->GetUnknownFields(*again).field_count(), 5);
    const MessagePointer copy = NewLike(known);
    copy->MergeFrom(*again);
    EXPECT_EQ(copy->SerializeAsString(), bytes);
    copy->DiscardUnknownFields();
    EXPECT_EQ(copy->SerializeAsString(), known.SerializeAsString());
  });
}

// A program with an older schema passes a message on although it knows none of its fields.
TEST(AllMessages, PassThroughAReaderThatKnowsNoneOfTheirFields) {
  const MessagePointer stranger = Util::NewMessage("Pb.Rpc.SvcQuery.AbortRsp");
  ASSERT_EQ(stranger->GetDescriptor()->field_count(), 0);
  ForAllMessages(8, {}, [&](const Message& message, std::uint64_t /*seed*/) {
    const std::string bytes = message.SerializeAsString();
    ASSERT_TRUE(stranger->ParseFromString(bytes));
    EXPECT_EQ(stranger->SerializeAsString(), bytes);
  });
}

// Merging is what concatenated bytes mean: single fields replaced or merged, repeated ones
// appended, extensions included.
TEST(AllMessages, MergeAsTheirBytesDo) {
  ForAllMessages(8, {}, [](const Message& message, std::uint64_t seed) {
    const MessagePointer other = Random(message, seed + 1000);
    const MessagePointer merged = NewLike(message);
    merged->CopyFrom(message);
    EXPECT_EQ(merged->SerializeAsString(), message.SerializeAsString());
    merged->MergeFrom(*other);
    const MessagePointer expected =
        Parsed(message, message.SerializeAsString() + other->SerializeAsString());
    EXPECT_EQ(merged->SerializeAsString(), expected->SerializeAsString());

    merged->Clear();
    EXPECT_EQ(merged->ByteSizeLong(), 0U);
    merged->MergeFrom(message);
    EXPECT_EQ(merged->SerializeAsString(), message.SerializeAsString());
  });
}

TEST(AllMessages, AreTheSameOnAnArenaAsOnTheHeap) {
  ForAllMessages(8, {}, [](const Message& message, std::uint64_t seed) {
    const std::string bytes = message.SerializeAsString();
    Arena arena;
    Message* on_arena = message.New(&arena);
    ASSERT_EQ(on_arena->GetArena(), &arena);
    ASSERT_TRUE(on_arena->ParseFromString(bytes));
    EXPECT_EQ(on_arena->SerializeAsString(), bytes);

    // Copies and swaps cross the border between arena and heap.
    const MessagePointer on_heap = Random(message, seed + 1000);
    const std::string other_bytes = on_heap->SerializeAsString();
    on_heap->GetReflection()->Swap(on_heap.get(), on_arena);
    EXPECT_EQ(on_heap->SerializeAsString(), bytes);
    EXPECT_EQ(on_arena->SerializeAsString(), other_bytes);
    on_arena->CopyFrom(*on_heap);
    EXPECT_EQ(on_arena->SerializeAsString(), bytes);
    on_heap->Clear();
    on_heap->MergeFrom(*on_arena);
    EXPECT_EQ(on_heap->SerializeAsString(), bytes);
  });
}

}  // namespace
}  // namespace CmnSys::Test
