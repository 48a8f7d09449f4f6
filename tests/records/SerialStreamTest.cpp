// The byte stream, and lengths that are patched into it.
#include "platform/SerialStream.h"

#include <gtest/gtest.h>

#include <cstring>

#include "Blocks.h"
#include "records/Framing.h"

namespace Zel {
namespace {

using blocks::Stream;

/// `afterFailure` is what a failed read in a reversing stream makes of `value`.
template <typename Integer>
void expectCarried(Integer value, const std::string& hex, Integer afterFailure) {
  for (const blocks::Order order : {blocks::network, blocks::little}) {
    SCOPED_TRACE(hex + (order == blocks::little ? " reversed" : ""));
    Integer read = 0;
    Stream to(std::uint32_t{sizeof value}, order), from(blocks::ordered(hex, order), 8, order);
    to.stream << value;
    from.stream >> read;
    EXPECT_TRUE(to.stream.good && from.stream.good);
    EXPECT_EQ(to.written(), blocks::ordered(hex, order));
    EXPECT_EQ(read, value);
    EXPECT_EQ(from.stream.readPos, sizeof value);

    for (std::uint32_t left = 0; left < sizeof value; ++left) {
      Stream full(left, order), cut("a1a2a3a4a5a6a7a8", 1 + left, order);
      full.stream << value;
      cut.stream.readPos = 1;
      cut.stream >> read;
      EXPECT_EQ(read, blocks::swaps(order) ? afterFailure : value);
      EXPECT_EQ(cut.stream.readPos, 1u);
      EXPECT_FALSE(cut.stream.good || full.stream.good);
      EXPECT_EQ(full.buffer(), std::string(2 * left, 'e'));
      EXPECT_TRUE(full.stream.writePos == 0 && full.stream.validSize == 0);
      read = value;
    }
  }
}

TEST(SerialStreamTest, CarriesWholeIntegersInStreamOrderOrNothing) {
  expectCarried<std::uint8_t>(0x12, "12", 0x12);
  // These two are reversed although nothing was read.
  expectCarried<std::uint16_t>(0x1234, "1234", 0x3412);
  expectCarried<std::uint32_t>(0x89abcdef, "89abcdef", 0xefcdab89);
  expectCarried<std::uint64_t>(0xf1f2f3f4f5f6f7f8, "f1f2f3f4f5f6f7f8", 0xf1f2f3f4f5f6f7f8);
  Stream to(std::uint32_t{1});
  to.stream.write("\xab", 1);
  EXPECT_EQ(to.written(), "ab");
}

TEST(SerialStreamTest, RefusesLengthsThatWouldWrapAndPositionsBehindTheEnd) {
  using Case = std::pair<std::uint32_t, std::uint32_t>;
  for (const auto& [position, count] :
       {Case{2, 0xFFFFFFFF}, Case{2, 3}, Case{5, 0}, Case{0xFFFFFFFF, 2}}) {
    Stream from("01020304");
    std::uint8_t bytes[4] = {};
    from.stream.readPos = position;
    from.stream.read(bytes, count);
    EXPECT_EQ(from.stream.readPos, position);

    Stream to(std::uint32_t{4});
    to.stream.writePos = position;
    to.stream.write(bytes, count);
    EXPECT_FALSE(from.stream.good || to.stream.good);
    EXPECT_EQ(to.stream.writePos, position);
    EXPECT_EQ(to.buffer(), "eeeeeeee");
  }
}

TEST(SerialStreamTest, HasTheSizeOfItsLastWrite) {
  Stream to(std::uint32_t{8});
  to.stream << std::uint64_t{0};
  EXPECT_EQ(to.stream.size(), 8u);
  to.stream.writePos = 2;
  to.stream << std::uint16_t{0};
  EXPECT_EQ(to.stream.size(), 4u);
  EXPECT_EQ(to.stream.size(8), 0);
  EXPECT_EQ(to.stream.size(9), -1);
  EXPECT_EQ(to.stream.size(), 8u);
  EXPECT_FALSE(to.stream.good);
}

TEST(LengthPatchTest, PutsTheLengthInFrontOfTheContent) {
  Stream to(std::uint32_t{9});
  writeWithLength(to.stream, [&] {
    to.stream << std::uint8_t{0xaa};
    writeWithLength(to.stream, [&] { to.stream << std::uint32_t{0x11223344}; });
  });
  EXPECT_TRUE(to.stream.good);
  EXPECT_EQ(to.written(), "0007aa000411223344");
}

TEST(LengthPatchTest, KeepsWhatFitsIntoAFullStream) {
  const auto expectBuffer = [](std::uint32_t room, const std::string& buffer, std::uint32_t size) {
    Stream to(room);
    writeWithLength(to.stream, [&] { to.stream << std::uint8_t{0xaa} << std::uint32_t{1}; });
    EXPECT_FALSE(to.stream.good);
    EXPECT_EQ(to.buffer(), buffer);
    EXPECT_EQ(to.stream.writePos, size);
    EXPECT_EQ(to.stream.validSize, size);
  };
  expectBuffer(0, "", 0);
  // A single byte fits where the length in front of it did not.
  expectBuffer(1, "aa", 1);
  expectBuffer(2, "0000", 2);
  expectBuffer(3, "0001aa", 3);
  expectBuffer(6, "0001aaeeeeee", 3);
}

/// A platform's stream: its sizes are its own.
struct OwnSizes : SerialStream {
  using SerialStream::SerialStream;
  std::uint32_t size() const override { return ++asked, SerialStream::size(); }
  int size(std::uint32_t bytes) override { return ++set, SerialStream::size(bytes); }
  mutable int asked = 0;
  int set = 0;
};

TEST(LengthPatchTest, StaysWithinTheSizeThatTheStreamTells) {
  // Past the valid bytes, without room for the length: it is put at their end.
  Stream to(std::uint32_t{4});
  to.stream.writePos = 3;
  writeWithLength(to.stream, [] {});
  EXPECT_EQ(to.buffer(), "fffeeeee");
  EXPECT_EQ(to.stream.writePos, 0u);
  EXPECT_EQ(to.stream.validSize, 0u);

  std::uint8_t bytes[4];
  OwnSizes own(bytes, 4, 0, true);
  writeWithLength(own, [] {});
  EXPECT_TRUE(own.asked == 3 && own.set == 1) << own.asked << " " << own.set;
}

#if defined(__x86_64__)
/// The place of a virtual operation in the table of its class, which the platform relies on.
template <typename Operation>
std::size_t slotOf(Operation operation) {
  std::uintptr_t word = 0;
  std::memcpy(&word, &operation, sizeof word);
  return (word - 1) / sizeof(void*);
}

TEST(VirtualOperationsTest, StandInTheOrderThatThePlatformKnows) {
  const auto slots = [](auto... operations) { return std::vector{slotOf(operations)...}; };
  EXPECT_EQ(slots(&Record::deserialize, &Record::serialize, &Record::recordName, &Record::print,
                  &Record::isOpaque, &Record::deserializePayload, &Record::serializePayload,
                  &Record::printPayload, &Event::eventName),
            (std::vector<std::size_t>{0, 1, 2, 3, 4, 5, 6, 7, 8}));
  EXPECT_EQ(slots(&Alarm::alarmName, &RecordUpdateEvent::recordUpdateEventName),
            (std::vector<std::size_t>{8, 8}));
  EXPECT_EQ(slots(&RecordKeys::deserialize, &RecordKeys::serialize, &RecordKeys::hasWildcard,
                  &RecordKeys::recordName, &RecordKeys::isOpaque, &RecordKeys::printPayload),
            (std::vector<std::size_t>{0, 1, 2, 3, 4, 5}));
}
#endif

TEST(LengthPatchTest, CountsModulo65536) {
  Stream to(std::uint32_t{65536 + 5});
  const std::string content(65536 + 3, '\0');
  writeWithLength(to.stream, [&] { to.stream.write(content.data(), 65536 + 3); });
  EXPECT_TRUE(to.stream.good);
  EXPECT_EQ(to.written().substr(0, 6), "000300");
}

}  // namespace
}  // namespace Zel
