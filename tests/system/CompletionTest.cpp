// The completion scripts, in the shells that they are for.
#include <boost/algorithm/string/replace.hpp>
#include <fstream>
#include <regex>

#include "Harness.h"

using namespace harness;

namespace {

/// For each line of a file, prints what the functions reply at its end; compopt's options, too.
/// Breaks words as bash does.
constexpr const char* bashDriver = R"(
. $1/oamctl.bash
. $1/quorin.bash
compopt() { COMPREPLY+=("[$2]"); }
while IFS= read -r COMP_LINE; do
  COMP_WORDS=() COMP_POINT=${#COMP_LINE} rest=$COMP_LINE
  while [[ $rest =~ ^[[:space:]]*([^[:space:]=:\>]+|[=:\>]+)(.*)$ ]]; do
    COMP_WORDS+=("${BASH_REMATCH[1]}")
    rest=${BASH_REMATCH[2]}
  done
  [[ ! $rest ]] || COMP_WORDS+=('')
  COMP_CWORD=$((${#COMP_WORDS[@]} - 1))
  COMPREPLY=(left-over)
  _${COMP_WORDS[0]##*/}
  mapfile -t COMPREPLY < <(printf '%s\n' "${COMPREPLY[@]}" | LC_ALL=C sort)
  echo "${COMPREPLY[*]}"
done <$2
)";

/// Types each line of a file and a tab in a shell of its own, and prints the line that comes of it,
/// with all matches inserted. Waits for what the shell says, not for a time.
constexpr const char* zshDriver = R"(
zmodload zsh/zpty
zpty shell zsh -f -i
zpty -w shell ". ${0:h}/setup $1"
zpty -r shell seen '*<<ready>>*'
while IFS= read -r line; do
  zpty -w -n shell "$line"$'\t\C-g'
  zpty -r shell seen '*<<*>>*'
  print -r -- "${${seen#*<<}%%>>*}"
done <$2
zpty -d shell
)";

constexpr const char* zshSetup = R"(
fpath=($1 $fpath)
autoload -U compinit
compinit -u -D
zle -C all-matches complete-word _generic
zstyle ':completion:all-matches:*' completer _all_matches _complete
zstyle ':completion:all-matches:*' insert yes
zle-line-init() { print '<<ready>>' }
report() { print -r -- "<<$BUFFER>>"; BUFFER= }
zle -N zle-line-init
zle -N report
bindkey '^I' all-matches
bindkey '^G' report
)";

class CompletionTest : public SystemTest {
 protected:
  /// Each row of the table, after the first, empty one, is a line, an arrow, and what the driver
  /// is to print for it. The program of this build is called oamctl.
  void expectCompleted(const std::string& shell, const char* driver, const std::string& table) {
    if (launch(shell + " --version")->wait().status != 0) GTEST_SKIP() << "there is no " << shell;
    const std::string lines = std::regex_replace(table, std::regex("->.*"), "") + "\n";
    std::ofstream(path("driver")) << driver;
    std::ofstream(path("setup")) << zshSetup;
    std::ofstream(path("lines"))
        << boost::replace_all_copy(lines, "\noamctl", "\n" OAMCTL_PROGRAM).substr(1);
    const std::string arguments = " " QUORIN_SOURCE_FOLDER "/packaging/completion " + path("lines");
    const Outcome outcome = launch(shell + " " + path("driver") + arguments, "TERM=dumb")->wait();
    EXPECT_EQ(outcome, (Outcome{0, outcome.out, ""}));
    const Strings rows = split(table.substr(1), '\n');
    Strings printed = split(boost::replace_all_copy(outcome.out, OAMCTL_PROGRAM, "oamctl"), '\n');
    printed.resize(rows.size());
    for (std::size_t i = 0; i < rows.size(); ++i) {
      EXPECT_EQ(rows[i].substr(0, rows[i].find("->")) + "->" + printed[i], rows[i]);
    }
  }
};

TEST_F(CompletionTest, BashOffersWhatOamctlSays) {
  expectCompleted("bash --norc", bashDriver, R"(
oamctl s->set set-ind-result status svc-reg
oamctl --->--help --json --socket --timeout --verbose --version
oamctl fault ->add list remove
oamctl fault add --blocks f->flip
oamctl journal --method get->get getKeys
oamctl --timeout 3 --json mon->monitor
oamctl get test3-stats1->Test3-Stats1
oamctl get Test3-Stats3 s->[nospace] sf= sfn=
oamctl --socket=/x get 0x111f0006 sfn=5 sf=3 sfn->[nospace] sfn=
oamctl get Test3-Stats3 sfn=->
oamctl get Test3-Stats5 ->
oamctl get-keys Test3-Stats2 'key1=*' ->[nospace] key2=
oamctl set Test3-Prov1 testField3=1 testField4= testField->[nospace] testField1= testField2=
oamctl notify Test1-Prov2 --op update x->[nospace] xyzService=
oamctl notify Test1-Prov2 --op ->action delete insert set update
oamctl set Test1-Prov2 --op=in->insert
oamctl set Test1-Prov2 --apply-action reboot->reboot-possible reboot-required
oamctl get-keys Test3-Stats2 --all --json --->--after --batch-size --help --keep-going --socket --timeout --verbose --version --wildcard
oamctl set Test1-Prov2 --w->--wait-deferred
oamctl svc-reg ->result
oamctl svc-reg result ->12 14
oamctl svc-reg result 12 sys->system\ not\ ready
oamctl set-ind-result 1 not-p->not-permitted
oamctl decode 00 test1-prov3->Test1-Prov3
oamctl --socket /dev/nul->/dev/null [filenames]
oamctl records >/dev/nul->/dev/null [filenames]
oamctl monitor --count ->
oamctl nothing ->
nowhere/oamctl ->
quorin --no-c->--no-clear
quorin --set-update L:1 --quiet --se->--send-deferred-set-rsp --set-ind --set-update)");
}

TEST_F(CompletionTest, ZshCompletesWhatIsTyped) {
  expectCompleted("zsh -f", zshDriver, R"(
oamctl mon->oamctl monitor 
oamctl get Test3-Stats3 sf->oamctl get Test3-Stats3 sf= sfn=
oamctl --socket /x get test3-stats3->oamctl --socket /x get Test3-Stats3 
oamctl set Test1-Prov2 testField1=1 te->oamctl set Test1-Prov2 testField1=1 testField2=
oamctl set Test1-Prov2 --op=in->oamctl set Test1-Prov2 --op=insert 
oamctl set Test1-Prov2 --w->oamctl set Test1-Prov2 --wait-deferred 
oamctl get-keys Test3-Stats2 'key1=*' ->oamctl get-keys Test3-Stats2 'key1=*' key2=
oamctl --socket=/dev/nul->oamctl --socket=/dev/null 
oamctl svc-reg result 1->oamctl svc-reg result 12 14 
oamctl svc-reg result 12 sys->oamctl svc-reg result 12 system\ not\ ready 
oamctl get --js->oamctl get --json 
nowhere/oamctl ->nowhere/oamctl 
quorin --no-cl->quorin --no-clear )");
}

TEST_F(CompletionTest, TheListsOfTheDaemonAreItsHelp) {
  const std::string help = launch(QUORIN_PROGRAM " --help")->wait().out;
  const std::string zsh = fileContent(QUORIN_SOURCE_FOLDER "/packaging/completion/_quorin");
  const Names options = allOf(help, R"(\n  (--[a-z-]+))"),
              valued = allOf(help, R"(\n  (--[a-z-]+) arg)");
  EXPECT_EQ(allOf(zsh, R"((--[a-z-]+)=?\[)"), options);
  EXPECT_EQ(allOf(zsh, R"((--[a-z-]+)=\[)"), valued);
  std::string all, table;
  for (const std::string& name : options) {
    all += (all.empty() ? "" : " ") + name;
    table += "\nquorin " + name + " --set-u->" + (valued.contains(name) ? "" : "--set-update");
  }
  expectCompleted("bash --norc", bashDriver, "\nquorin ->" + all + table);
}

}  // namespace
