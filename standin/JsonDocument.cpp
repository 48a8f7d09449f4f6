#include "standin/JsonDocument.h"

#include <algorithm>
#include <array>
#include <boost/json/basic_parser_impl.hpp>
#include <charconv>

#include "standin/JsonText.h"
#include "standin/Limits.h"

namespace json = boost::json;

namespace standin {

std::optional<std::int64_t> JsonValue::integer() const {
  std::int64_t number = 0;
  const char* end = text.data() + text.size();
  if (kind != Kind::integer) return std::nullopt;
  const auto [stopped, error] = std::from_chars(text.data(), end, number);
  if (error != std::errc() || stopped != end) return std::nullopt;
  return number;
}

namespace {

/// Whether a list or text is to give its room back.
template <typename Elements>
bool isLarge(const Elements& elements) {
  constexpr std::size_t many = 8192;
  return elements.capacity() > many;
}

}  // namespace

/// What the parser finds, in the order of the text.
class JsonDocument::Handler {
 public:
  constexpr static std::size_t max_object_size = maxMembers;
  constexpr static std::size_t max_array_size = std::size_t(-1);
  constexpr static std::size_t max_key_size = std::size_t(-1);
  constexpr static std::size_t max_string_size = std::size_t(-1);

  JsonDocument* document = nullptr;
  std::string_view source;
  bool keep = true;

  bool on_document_begin(json::error_code&) { return true; }
  bool on_document_end(json::error_code&) { return true; }
  bool on_object_begin(json::error_code&) { return open(JsonValue::Kind::object); }
  bool on_object_end(std::size_t count, json::error_code&) { return close(count); }
  bool on_array_begin(json::error_code&) { return open(JsonValue::Kind::list); }
  bool on_array_end(std::size_t count, json::error_code&) { return close(count); }
  bool on_key_part(std::string_view part, std::size_t, json::error_code&) { return gather(part); }
  bool on_key(std::string_view part, std::size_t size, json::error_code& error) {
    if (++members_ > maxLineMembers) {
      error = json::error::object_too_large;
      return false;
    }
    return text(part, size);
  }
  bool on_string_part(std::string_view part, std::size_t, json::error_code&) {
    return gather(part);
  }
  bool on_string(std::string_view part, std::size_t size, json::error_code&) {
    return text(part, size);
  }
  // A text that is whole has its numbers whole.
  bool on_number_part(std::string_view, json::error_code&) { return true; }
  bool on_int64(std::int64_t, std::string_view text, json::error_code&) {
    return add({.kind = JsonValue::Kind::integer, .text = text});
  }
  bool on_uint64(std::uint64_t, std::string_view text, json::error_code&) {
    return add({.kind = JsonValue::Kind::integer, .text = text});
  }
  bool on_double(double, std::string_view text, json::error_code&) {
    return add({.kind = JsonValue::Kind::number, .text = text});
  }
  bool on_bool(bool truth, json::error_code&) {
    return add({.kind = JsonValue::Kind::boolean, .truth = truth, .text = {}});
  }
  bool on_null(json::error_code&) { return add({}); }
  bool on_comment_part(std::string_view, json::error_code&) { return true; }
  bool on_comment(std::string_view, json::error_code&) { return true; }

 private:
  std::vector<JsonValue>& values() { return document->values_; }

  bool add(const JsonValue& value) {
    if (!keep) return true;
    if (document->used_ == values().size()) values().emplace_back();
    values()[document->used_++] = value;
    return true;
  }

  bool open(JsonValue::Kind kind) {
    open_[depth_++] = document->used_;
    return add({.kind = kind, .text = {}});
  }

  bool close(std::size_t count) {
    const std::size_t at = open_[--depth_];
    if (!keep) return true;
    values()[at].count = static_cast<std::uint32_t>(count);
    values()[at].inside = static_cast<std::uint32_t>(document->used_ - at - 1);
    return true;
  }

  // What is unescaped is no longer than it was written, so that what was gathered never moves.
  bool gather(std::string_view part) {
    std::string& gathered = document->unescaped_;
    if (keep && gathered.empty()) gathered.reserve(source.size());
    if (keep) gathered += part;
    return true;
  }

  bool text(std::string_view part, std::size_t size) {
    if (!keep) return true;
    const bool written = size == part.size() && part.data() >= source.data() &&
                         part.data() <= source.data() + source.size();
    if (!written) {
      gather(part);
      const std::string& gathered = document->unescaped_;
      part = std::string_view(gathered).substr(gathered.size() - size);
    }
    return add({.kind = JsonValue::Kind::text, .text = part});
  }

  std::array<std::size_t, maxNesting + 1> open_{};
  std::size_t depth_ = 0;
  std::size_t members_ = 0;
};

JsonDocument::Outcome JsonDocument::parse(std::string_view text, unsigned int maxDepth, bool keep) {
  if (isLarge(values_)) std::vector<JsonValue>().swap(values_);
  if (isLarge(unescaped_)) std::string().swap(unescaped_);
  used_ = 0;
  unescaped_.clear();
  json::parse_options options;
  options.max_depth = maxDepth;
  json::basic_parser<Handler> parser(options);
  parser.handler().document = this;
  parser.handler().source = text;
  parser.handler().keep = keep;
  json::error_code error;
  const std::size_t parsed = parser.write_some(false, text.data(), text.size(), error);
  if (!error && parsed < text.size()) error = json::error::extra_data;
  if (!error) return Outcome::good;
  if (error == json::error::too_deep) return Outcome::tooDeep;
  if (error == json::error::object_too_large) return Outcome::tooManyMembers;
  reason_ = error.message();
  return Outcome::notJson;
}

std::size_t endOfJsonValue(std::string_view text, std::size_t from) {
  std::size_t depth = 0;
  for (std::size_t at = from; at < text.size(); ++at) {
    switch (text[at]) {
      case '"':
        while (text[++at] != '"') {
          if (text[at] == '\\') ++at;
        }
        break;
      case '[':
      case '{':
        ++depth;
        break;
      case ']':
      case '}':
        if (depth == 0) return at;
        --depth;
        break;
      case ',':
        if (depth == 0) return at;
        break;
      default:
        break;
    }
  }
  return text.size();
}

void appendJson(std::string& out, const JsonValue& value) {
  switch (value.kind) {
    case JsonValue::Kind::null:
      out += "null";
      return;
    case JsonValue::Kind::boolean:
      out += value.truth ? "true" : "false";
      return;
    case JsonValue::Kind::integer:
    case JsonValue::Kind::number:
      out += value.text;
      return;
    case JsonValue::Kind::text:
      appendQuoted(out, value.text);
      return;
    case JsonValue::Kind::list:
    case JsonValue::Kind::object:
      break;
  }
  const bool isObject = value.is(JsonValue::Kind::object);
  out += isObject ? '{' : '[';
  const JsonValue* at = &value + 1;
  for (std::uint32_t i = 0; i < value.count; ++i) {
    if (i != 0) out += ',';
    if (isObject) {
      appendQuoted(out, at->text);
      out += ':';
      ++at;
    }
    appendJson(out, *at);
    at = at->next();
  }
  out += isObject ? '}' : ']';
}

}  // namespace standin
