#include "tools/Help.h"

#include <algorithm>

#include "tools/ExitStatus.h"
#include "tools/Names.h"

namespace tools {
namespace {

std::string spelled(const Option& option) {
  return std::string("--") + option.name + (*option.value == '\0' ? "" : " ") + option.value;
}

std::string synopsis(const Command& command) {
  std::string text = command.name;
  if (*command.places != '\0') text += std::string(" ") + command.places;
  for (const Option& option : command.options) text += " [" + spelled(option) + "]";
  return text;
}

/// Two columns; what does not fit in the first has a line of its own.
void addRow(std::string& text, const std::string& left, const std::string& right) {
  constexpr std::size_t width = 22;
  text += "  " + left;
  text += left.size() < width ? std::string(width - left.size(), ' ')
                              : "\n" + std::string(width + 2, ' ');
  text += right + '\n';
}

void addOptions(std::string& text, const std::vector<Option>& options) {
  for (const Option& option : options) addRow(text, spelled(option), option.about);
}

constexpr const char* whereMoreIs =
    "\nOptions of every command are in 'oamctl --help', details in oamctl(1).\n";

std::string described(const Command& command) {
  std::string text = "Usage: oamctl " + synopsis(command) + "\n\n" + command.about + ".\n";
  text[text.find("\n\n") + 2] = static_cast<char>(std::toupper(command.about[0]));
  if (!command.options.empty()) {
    text += "\nOptions:\n";
    addOptions(text, command.options);
  }
  return text;
}

}  // namespace

const Command& takeCommand(Words& words) {
  const Command* found = nullptr;
  std::size_t length = 0;
  std::vector<std::string> names;
  std::string further;
  for (const Command& command : commands()) {
    const std::string name = command.name;
    names.push_back(name);
    const std::size_t blank = name.find(' ');
    const bool hasSecond = words.size() > 1 && blank != std::string::npos;
    if (name == words[0] || (hasSecond && name == words[0] + " " + words[1])) {
      found = &command;
      length = blank == std::string::npos ? 1 : 2;
    }
    if (name.substr(0, blank) == words[0]) further += (further.empty() ? "" : ", ") + name;
  }
  if (found == nullptr && !further.empty())
    throw UsageError{"the command must be one of: " + further};
  if (found == nullptr) {
    throw UsageError{"there is no command " + words[0] + suggestion(words[0], names)};
  }
  words.erase(words.begin(), words.begin() + static_cast<std::ptrdiff_t>(length));
  return *found;
}

std::string usage(const Command& command) { return "usage: oamctl " + synopsis(command); }

std::string helpOf(const Command& command) { return described(command) + whereMoreIs; }

std::string helpOfAll() {
  std::string text =
      "Usage: oamctl [--socket PATH] [--timeout S] [--json] [--verbose] COMMAND\n\n"
      "Plays the management framework towards a quorin daemon.\n\nCommands:\n";
  for (const Command& command : commands()) addRow(text, command.name, command.about);
  text +=
      "\n'oamctl help COMMAND' shows what a command takes. Fields and keys are name=value,\n"
      "a wildcard key is name=*. Records are named, or have any id; numbers may be 0x.\n\n"
      "Options:\n";
  addOptions(text, commonOptions());
  return text +
         "\nExit status: 0 Success; 1 another management result, or the daemon refused; 2 usage;\n"
         "3 no daemon reached; 4 timed out; 5 a reply that makes no sense;\n"
         "6 the output could not be written.\n";
}

int help(const Invocation& invocation, Answer& answer) {
  if (invocation.words.empty()) {
    answer.text = helpOfAll();
  } else {
    Words words = invocation.words;
    if (words.size() == 1) {
      // A first word of several commands shows them all.
      for (const Command& command : commands()) {
        if (!std::string(command.name).starts_with(words[0] + " ") && command.name != words[0]) {
          continue;
        }
        answer.text += (answer.text.empty() ? "" : "\n") + described(command);
      }
    }
    if (answer.text.empty()) answer.text = described(takeCommand(words));
    answer.text += whereMoreIs;
  }
  answer.json.clear();
  return exitSuccess;
}

}  // namespace tools
