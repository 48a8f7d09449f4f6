// Key blocks of every record that has keys, with and without wildcard markers.
//
// Input: class, two bytes of setting, block.
#include "tests/fuzz/PlainBlocks.h"

namespace fuzz {
namespace {

/// False at the first key that is out of place, out of range, or not as long as it says.
template <class Keys, std::size_t I>
bool readKey(Keys& expected, PlainReader& reader) {
  constexpr auto& field = Zel::fields::at<Keys, I>;
  auto& key = field.of(expected);
  if (reader.number(2) != I + 1) return false;
  if (expected.wildcardAllowed) {
    reader.number(1, key.wildcard);
    if (key.wildcard != 0) return true;
  }
  const std::uint64_t length = reader.number(2);
  const std::size_t start = reader.position;
  reader.number(sizeof key.value, key.value);
  return key.value <= field.range.max && reader.position - start == length;
}

template <class Keys>
void readPlainly(Keys& expected, PlainReader& reader) {
  const std::uint64_t total = reader.number(2);
  const std::size_t start = reader.position;
  expected.valid =
      Zel::fields::every<Keys>([&]<std::size_t I>() { return readKey<Keys, I>(expected, reader); });
  expected.valid = expected.valid && reader.position - start == total && reader.good;
}

template <class Keys>
Bytes writtenPlainly(const Keys& keys, const Setting& setting) {
  PlainWriter content(setting), writer(setting);
  Zel::fields::every<Keys>([&]<std::size_t I>() {
    const auto& key = Zel::fields::at<Keys, I>.of(keys);
    content.number(2, I + 1);
    if (keys.wildcardAllowed) content.number(1, key.wildcard);
    if (!keys.wildcardAllowed || key.wildcard == 0) {
      content.number(2, sizeof key.value);
      content.number(sizeof key.value, key.value);
    }
    return true;
  });
  writer.number(2, content.bytes.size());
  writer.bytes.insert(writer.bytes.end(), content.bytes.begin(), content.bytes.end());
  return writer.bytes;
}

template <class Keys>
void check(Input& input) {
  const Setting setting(input);
  Keys object(setting.wildcardAllowed());
  fillFields(object, setting);
  Keys expected = object;
  Bytes block = input.rest();
  PlainReader reader(block, setting);
  readPlainly(expected, reader);
  checkReading(object, block, setting, expected, reader);

  const Bytes written = writtenPlainly(object, setting);
  checkWriting([&](auto& stream) { object.serialize(stream); }, written, setting);
  if (!object.valid) return;
  block.resize(reader.position);
  expect(block == written, "a valid key block writes back");
}

}  // namespace
}  // namespace fuzz

int LLVMFuzzerTestOneInput(const std::uint8_t* bytes, std::size_t count) {
  static const auto checks = fuzz::checksOfRecords([]<class R>() -> fuzz::Check {
    if constexpr (Zel::catalogue::Keyed<R>) return &fuzz::check<typename R::Keys>;
    return nullptr;
  });
  fuzz::Input input(bytes, count);
  checks[input.byte() % checks.size()](input);
  return 0;
}
