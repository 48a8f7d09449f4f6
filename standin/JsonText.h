// Writing JSON texts.
#pragma once

#include <cassert>
#include <concepts>
#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>

namespace standin {

/// Appends `text` in quotes. Bytes that are not UTF-8 become U+FFFD.
void appendQuoted(std::string& out, std::string_view text);

/// Writes an object at the end of a text, member by member. Names need no escapes, and have at most
/// 60 characters.
class ObjectText {
 public:
  explicit ObjectText(std::string& out) : out_(out) { out_ += '{'; }

  template <std::integral Number>
  requires(!std::same_as<Number, bool>) ObjectText& add(std::string_view name, Number number) {
    start(name) += std::to_string(number);
    return *this;
  }
  ObjectText& add(std::string_view name, std::same_as<bool> auto truth) {
    start(name) += truth ? "true" : "false";
    return *this;
  }
  ObjectText& add(std::string_view name, std::string_view text) {
    appendQuoted(start(name), text);
    return *this;
  }
  ObjectText& add(std::string_view name, const char* text) {
    return add(name, std::string_view(text));
  }
  /// A member whose value `write()` appends.
  template <std::invocable Write>
  ObjectText& addFrom(std::string_view name, Write&& write) {
    start(name);
    write();
    return *this;
  }
  /// A member that is an object: `write(members)` adds what is in it.
  template <std::invocable<ObjectText&> Write>
  ObjectText& addObject(std::string_view name, Write&& write) {
    ObjectText members(start(name));
    write(members);
    members.end();
    return *this;
  }
  /// A list of `count` values: `append(i)` appends the one with the number `i`.
  template <std::invocable<std::size_t> Append>
  ObjectText& addList(std::string_view name, std::size_t count, Append&& append) {
    start(name) += '[';
    for (std::size_t i = 0; i < count; ++i) {
      if (i != 0) out_ += ',';
      const std::size_t begin = out_.size();
      append(i);
      // Values of one list are much alike: room for all of them at once.
      if (i == 0 && count > 1) out_.reserve(out_.size() + count * (out_.size() - begin + 1));
    }
    out_ += ']';
    return *this;
  }

  /// Ends the object; called once, last.
  void end() { out_ += '}'; }

  std::string& text() { return out_; }

 private:
  /// Starts a member; its value follows.
  std::string& start(std::string_view name) {
    // One append a member, which is most of what a short reply costs.
    assert(name.size() <= maxNameBytes);
    char text[maxNameBytes + 4];
    char* end = text;
    if (!first_) *end++ = ',';
    first_ = false;
    *end++ = '"';
    end += name.copy(end, maxNameBytes);
    *end++ = '"';
    *end++ = ':';
    return out_.append(text, end);
  }

  static constexpr std::size_t maxNameBytes = 60;

  std::string& out_;
  bool first_ = true;
};

}  // namespace standin
