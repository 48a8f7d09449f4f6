// The byte stream, and lengths that are patched into it.
#include "platform/SerialStream.h"

#include <gtest/gtest.h>

#include "Blocks.h"
#include "records/LengthPatch.h"

namespace Zel {
namespace {

using blocks::Stream;

struct Integers {
  std::uint8_t one = 0;
  std::uint16_t two = 0;
  std::uint32_t four = 0;
  std::uint64_t eight = 0;
};

TEST(SerialStreamTest, CarriesIntegersInStreamOrder) {
  struct Case {
    blocks::Order order;
    std::string hex;
  };
  for (const auto& [order, hex] :
       {Case{blocks::network, "0a 1234 89abcdef f1f2f3f4f5f6f7f8 6a6b"},
        Case{blocks::little, "0a 3412 efcdab89 f8f7f6f5f4f3f2f1 6a6b"}}) {
    SCOPED_TRACE(hex);
    Stream to(std::uint32_t{17}, order);
    to.stream << std::uint8_t{0x0a} << std::uint16_t{0x1234} << std::uint32_t{0x89abcdef}
              << std::uint64_t{0xf1f2f3f4f5f6f7f8};
    to.stream.write("jk", 2);
    EXPECT_TRUE(to.stream.good);
    EXPECT_EQ(to.written(), blocks::plain(hex));

    Stream from(hex, std::string::npos, order);
    Integers read;
    char raw[3] = {};
    from.stream >> read.one >> read.two >> read.four >> read.eight;
    from.stream.read(raw, 2);
    EXPECT_EQ(read.one, 0x0a);
    EXPECT_EQ(read.two, 0x1234);
    EXPECT_EQ(read.four, 0x89abcdef);
    EXPECT_EQ(read.eight, 0xf1f2f3f4f5f6f7f8);
    EXPECT_STREQ(raw, "jk");
    EXPECT_TRUE(from.stream.good);
    EXPECT_EQ(from.stream.readPos, 17u);
  }
}

// `Integer` that holds `before` is read where `available` bytes are left.
template <typename Integer>
void expectFailedRead(Integer before, std::uint32_t available, blocks::Order order, Integer after) {
  SCOPED_TRACE(testing::Message() << sizeof(Integer) << " bytes of " << available);
  Stream from("a1a2a3a4a5a6a7a8", 1 + available, order);
  from.stream.readPos = 1;
  from.stream >> before;
  EXPECT_EQ(before, after);
  EXPECT_FALSE(from.stream.good);
  EXPECT_EQ(from.stream.readPos, 1u);
}

TEST(SerialStreamTest, LeavesThePositionWhenDataRunsOut) {
  for (std::uint32_t available = 0; available < 8; ++available) {
    for (const blocks::Order order : {blocks::network, blocks::little}) {
      const bool reversed = blocks::swaps(order);
      if (available < 1) expectFailedRead<std::uint8_t>(0x12, available, order, 0x12);
      // These two are reversed although nothing was read.
      if (available < 2) {
        expectFailedRead<std::uint16_t>(0x1234, available, order, reversed ? 0x3412 : 0x1234);
      }
      if (available < 4) {
        expectFailedRead<std::uint32_t>(0x12345678, available, order,
                                        reversed ? 0x78563412 : 0x12345678);
      }
      expectFailedRead<std::uint64_t>(0x123456789abcdef0, available, order, 0x123456789abcdef0);
    }
  }
}

TEST(SerialStreamTest, NeverBecomesGoodAgain) {
  Stream from("0102");
  std::uint32_t four = 0;
  std::uint16_t two = 0;
  from.stream >> four >> two;
  EXPECT_EQ(two, 0x0102);
  EXPECT_EQ(from.stream.readPos, 2u);
  EXPECT_FALSE(from.stream.good);
}

TEST(SerialStreamTest, RefusesLengthsThatWouldWrapAndPositionsBehindTheEnd) {
  struct Case {
    std::uint32_t position, count;
  };
  for (const auto& [position, count] :
       {Case{2, 0xFFFFFFFF}, Case{2, 3}, Case{5, 0}, Case{0xFFFFFFFF, 2}}) {
    SCOPED_TRACE(position);
    Stream from("01020304");
    std::uint8_t bytes[4] = {};
    from.stream.readPos = position;
    from.stream.read(bytes, count);
    EXPECT_FALSE(from.stream.good);
    EXPECT_EQ(from.stream.readPos, position);

    Stream to(std::uint32_t{4});
    to.stream.writePos = position;
    to.stream.write(bytes, count);
    EXPECT_FALSE(to.stream.good);
    EXPECT_EQ(to.stream.writePos, position);
    EXPECT_EQ(to.buffer(), "eeeeeeee");
  }
}

TEST(SerialStreamTest, ChangesNothingWhenRoomRunsOut) {
  for (std::uint32_t room = 0; room < 8; ++room) {
    Stream to(room);
    to.stream << std::uint64_t{1};
    if (room < 4) to.stream << std::uint32_t{1};
    if (room < 2) to.stream << std::uint16_t{1};
    if (room < 1) to.stream << std::uint8_t{1};
    EXPECT_FALSE(to.stream.good);
    EXPECT_EQ(to.stream.writePos, 0u);
    EXPECT_EQ(to.stream.validSize, 0u);
    EXPECT_EQ(to.buffer(), std::string(std::size_t{2} * room, 'e'));
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
  EXPECT_EQ(to.stream.size(), 8u);
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
  EXPECT_EQ(to.stream.validSize, 9u);
}

TEST(LengthPatchTest, KeepsWhatFitsIntoAFullStream) {
  struct Case {
    std::uint32_t room;
    std::string buffer;
    std::uint32_t written;
  };
  // A single byte fits where the length in front of it did not.
  for (const auto& [room, buffer, written] :
       {Case{0, "", 0}, Case{1, "aa", 1}, Case{2, "0000", 2}, Case{3, "0001aa", 3},
        Case{4, "0001aaee", 3}, Case{6, "0001aaeeeeee", 3}}) {
    Stream to(room);
    writeWithLength(to.stream, [&] { to.stream << std::uint8_t{0xaa} << std::uint32_t{1}; });
    EXPECT_FALSE(to.stream.good);
    EXPECT_EQ(to.buffer(), buffer);
    EXPECT_EQ(to.stream.writePos, written);
    EXPECT_EQ(to.stream.validSize, written);
  }
}

TEST(LengthPatchTest, CountsModulo65536) {
  const std::vector<std::uint8_t> content(65536 + 3);
  Stream to(std::uint32_t{65536 + 5});
  writeWithLength(to.stream, [&] {
    to.stream.write(content.data(), static_cast<std::uint32_t>(content.size()));
  });
  EXPECT_TRUE(to.stream.good);
  EXPECT_EQ(to.written().substr(0, 6), "000300");
}

TEST(LengthPatchTest, AsksAndSetsTheSizeAsThePlatformOverridesIt) {
  struct Overridden : SerialStream {
    using SerialStream::SerialStream;
    std::uint32_t size() const override { return 0; }
    int size(std::uint32_t bytes) override {
      set.push_back(bytes);
      return 0;
    }
    std::vector<std::uint32_t> set;
  };
  std::vector<std::uint8_t> bytes(5);
  Overridden stream(bytes.data(), 5, 0, blocks::swaps(blocks::network));
  stream << std::uint8_t{0xaa};
  writeWithLength(stream, [&] { stream << std::uint16_t{0x1234}; });
  // The length lands where that size says that the stream ends.
  EXPECT_EQ(blocks::hexOf(bytes.data(), 5), "0002001234");
  EXPECT_EQ(stream.set, std::vector<std::uint32_t>{0});
  EXPECT_EQ(stream.writePos, 0u);
}

}  // namespace
}  // namespace Zel
