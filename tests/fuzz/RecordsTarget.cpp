// Record blocks of every class of the catalogue.
//
// Input: class, two bytes of setting, block.
#include "tests/fuzz/PlainBlocks.h"

namespace fuzz {
namespace {

template <class R>
void readPlainly(R& expected, PlainReader& reader, const Setting& setting) {
  readId(expected, reader, setting);
  reader.number(2);
  // A field that could not be read does not end the reading; one that is out of range does.
  const bool inRange = Zel::fields::every<R>([&]<std::size_t I>() {
    using F = Zel::fields::FieldAt<R, I>;
    constexpr auto& field = Zel::fields::at<R, I>;
    reader.field<F>(F::of(expected));
    if constexpr (F::isText) {
      return true;
    } else {
      const auto value = static_cast<std::uint64_t>(F::of(expected));
      return value >= field.range.min && value <= field.range.max;
    }
  });
  expected.valid = inRange && reader.good;
}

/// Whether every byte of a payload has a value of its own.
template <class R>
constexpr bool writesBackWhole = Zel::fields::every<R>([]<std::size_t I>() {
  using F = Zel::fields::FieldAt<R, I>;
  return !F::isText && !std::is_same_v<typename F::Value, bool>;
});

template <class R>
void check(Input& input) {
  const Setting setting(input);
  R object;
  fillFields(object, setting);
  R expected = object;
  Bytes block = input.rest();
  PlainReader reader(block, setting);
  readPlainly(expected, reader, setting);
  checkReading(object, block, setting, expected, reader);

  PlainWriter writer(setting);
  writer.number(4, object.id);
  writer.payload(object);
  checkWriting([&](auto& stream) { object.serialize(stream, false); }, writer.bytes, setting);
  if (writesBackWhole<R> && object.valid) {
    block.resize(reader.position);
    std::copy_n(writer.bytes.begin() + 4, 2, block.begin() + 4);
    expect(block == writer.bytes, "a valid block writes back, but for its payload length");
  }
}

}  // namespace
}  // namespace fuzz

int LLVMFuzzerTestOneInput(const std::uint8_t* bytes, std::size_t count) {
  static const auto checks =
      fuzz::checksOfRecords([]<class R>() -> fuzz::Check { return &fuzz::check<R>; });
  fuzz::Input input(bytes, count);
  checks[input.byte() % checks.size()](input);
  return 0;
}
