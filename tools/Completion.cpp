#include "tools/Completion.h"

#include <algorithm>
#include <boost/algorithm/string/predicate.hpp>
#include <boost/program_options/parsers.hpp>
#include <set>

#include "tools/Commands.h"
#include "tools/Names.h"

namespace tools {
namespace {

const Option* findOption(const std::vector<Option>& options, const std::string& name) {
  const auto found = std::find_if(options.begin(), options.end(), [&](const Option& option) {
    return name == std::string("--") + option.name;
  });
  return found == options.end() ? nullptr : &*found;
}

/// An option by its name; a value means the same whatever the command.
const Option* anyOption(const std::string& name) {
  if (const Option* option = findOption(commonOptions(), name)) return option;
  for (const Command& command : commands()) {
    if (const Option* option = findOption(command.options, name)) return option;
  }
  return nullptr;
}

struct Line {
  std::set<std::string> options;  ///< that are given
  Words arguments;
  const Option* pending = nullptr;  ///< the option whose value is in the making
};

Line readLine(const Words& words) {
  Line line;
  for (std::size_t i = 0; i + 1 < words.size(); ++i) {
    if (line.pending != nullptr) {
      line.pending = nullptr;
    } else if (words[i].starts_with("--")) {
      line.options.insert(words[i].substr(0, words[i].find('=')));
      const Option* option = anyOption(words[i]);
      if (option != nullptr && *option->value != '\0') line.pending = option;
    } else {
      line.arguments.push_back(words[i]);
    }
  }
  return line;
}

/// Takes the command from the arguments.
const Command* takeCommand(Words& arguments) {
  for (const std::ptrdiff_t length : {2, 1}) {
    if (std::ssize(arguments) < length) continue;
    const std::string name = length == 1 ? arguments[0] : arguments[0] + " " + arguments[1];
    for (const Command& command : commands()) {
      if (name != command.name) continue;
      arguments.erase(arguments.begin(), arguments.begin() + length);
      return &command;
    }
  }
  return nullptr;
}

class Candidates {
 public:
  explicit Candidates(std::string word) : word_(std::move(word)) {}

  void add(const std::string& candidate, const std::string& about = {}) {
    if (!boost::algorithm::istarts_with(candidate, word_)) return;
    text += candidate + (about.empty() ? "" : "\t" + about) + '\n';
  }
  void addAll(const std::vector<std::string>& all) {
    for (const std::string& one : all) add(one);
  }

  /// The words that commands have after those of `arguments`.
  void addCommands(const Words& arguments) {
    std::set<std::string> seen;
    for (const Command& command : commands()) {
      const std::string name = command.name;
      const std::size_t blank = name.find(' ');
      const std::string first = name.substr(0, blank);
      if (arguments.empty() && seen.insert(first).second) add(first, command.about);
      if (arguments.size() == 1 && first == arguments[0] && blank != std::string::npos) {
        add(name.substr(blank + 1), command.about);
      }
    }
  }

  void addNames(const std::vector<FieldType>& fields, const Words& given) {
    if (word_.find('=') != std::string::npos) return;
    for (const FieldType& field : fields) {
      const auto isIt = [&](const std::string& one) { return one.starts_with(field.name + "="); };
      if (std::none_of(given.begin(), given.end(), isIt)) add(field.name + "=");
    }
  }

  /// What goes in a place of the usage line, such as RECORD.
  void addValues(const std::string& place, const std::string& command, const Words& arguments) {
    const RecordType* record = nullptr;
    for (const RecordType& type : recordTypes()) {
      if (place == "RECORD") add(type.name);
      if (arguments.empty()) continue;
      const bool isIt = parsedNumber(arguments[0]) == std::int64_t{type.id} ||
                        boost::algorithm::iequals(type.name, arguments[0]);
      if (isIt) record = &type;
    }
    if (place == "KEYS" && record != nullptr) {
      addNames(record->keys, command == "get" ? Words() : arguments);
    }
    if (place == "FIELDS" && record != nullptr) addNames(record->fields, arguments);
    if (place == "OP") addAll(namesOf("opType"));
    if (place == "A") addAll(namesOf("applyAction"));
    if (place == "RESULT") addAll(namesOf("result"));
    if (place == "KIND") addAll({"12", "14"});
    if (place == "HOW") addAll({"truncate", "flip"});
    if (place == "COMMAND") addCommands(arguments);
    if (place == "PATH") text = ":files\n";
    if (place == "METHOD" && command != "monitor") addAll(daemonMethods());
    if (place == "METHOD" && (command == "monitor" || command == "fault add")) {
      addAll(notificationMethods());
    }
    if (place == "METHOD" && command == "call") {
      addAll({"advanceTime", "faultAdd", "faultList", "faultRemove", "journal", "journalClear",
              "status", "subscribe", "unsubscribe"});
    }
  }

  std::string text;

 private:
  const std::string word_;
};

std::string placeOf(const Command& command, std::size_t index) {
  std::string place;
  for (const std::string& one : boost::program_options::split_unix(command.places)) {
    place = one;
    if (index-- == 0) break;
    if (!place.ends_with("...]")) place.clear();
  }
  const std::size_t begin = place.find_first_not_of('['), end = place.find_last_not_of(".]");
  return begin == std::string::npos ? "" : place.substr(begin, end - begin + 1);
}

}  // namespace

std::string completions(const Words& words) {
  if (words.empty()) return {};
  Line line = readLine(words);
  const Words before = line.arguments;
  const Command* command = takeCommand(line.arguments);
  const std::string name = command == nullptr ? "" : command->name;
  const std::string& word = words.back();
  const std::size_t equals = word.find('=');
  const bool isOption = word.starts_with("--");
  if (isOption && equals != std::string::npos) {
    line.pending = anyOption(word.substr(0, equals));
    if (line.pending == nullptr) return {};
  }
  if (line.pending != nullptr) {
    Candidates candidates(isOption && equals != std::string::npos ? word.substr(equals + 1) : word);
    candidates.addValues(line.pending->value, name, line.arguments);
    return candidates.text;
  }
  Candidates candidates(word);
  if (word.starts_with('-')) {
    const auto add = [&](const std::vector<Option>& options) {
      for (const Option& option : options) {
        const std::string spelled = std::string("--") + option.name;
        if (line.options.count(spelled) == 0) candidates.add(spelled, option.about);
      }
    };
    add(commonOptions());
    if (command != nullptr) add(command->options);
    return candidates.text;
  }
  candidates.addCommands(before);
  if (command != nullptr) {
    candidates.addValues(placeOf(*command, line.arguments.size()), name, line.arguments);
  }
  return candidates.text;
}

}  // namespace tools
