// The program from its entry to its end, on the scripted platform.
#include <algorithm>
#include <boost/make_shared.hpp>

#include "Daemon.h"
#include "app/Run.h"
#include "catalogue/Catalogue.h"
#include "records/Factories.h"
#include "records/Notifications.h"

namespace {

using scripted::platform;
using testing::ExitedWithCode;

class StartUpTest : public scripted::DaemonTest {
 protected:
  static int runWith(std::vector<std::string> arguments = {}) {
    scripted::CommandLine commandLine(std::move(arguments));
    return runQuorin(commandLine.count(), commandLine.values.data());
  }
};

using StartUpDeathTest = StartUpTest;

TEST_F(StartUpTest, GoesThroughItsStagesInOrderAndReturnsTheMainLoopsResult) {
  platform().mainLoopResult = 7;
  EXPECT_EQ(runWith(), 7);
  EXPECT_EQ(platform().calls,
            (std::vector<std::string>{"zelClientBinLogInit 0x9100", "applyPrivileges apps apps",
                                      "Process 33 15 options", "doRegister", "main loop",
                                      "~Process", "~ProcPrivs"}));
}

TEST_F(StartUpDeathTest, EndsWhenPrivilegesCannotBeDropped) {
  platform().privilegeError = 3;
  EXPECT_EXIT(runWith(), ExitedWithCode(255), "^L1: Error dropping privileges: 3\n$");
  zelLogLevelThreshold = 0;
  EXPECT_EXIT(runWith(), ExitedWithCode(255), "^$");
}

TEST_F(StartUpDeathTest, EndsOnEveryFailureOfItsConstructionWithoutDestroyingAnything) {
  struct Case {
    const char* name;
    void (*arrange)();
    const char* said;
    const char* lastCall;
  };
  const char* const construction = "Process 33 15 options";
  const Case cases[] = {
      {"process", [] { platform().processGood = false; }, "", construction},
      {"API", [] { platform().apiGood = false; }, "L2: KorOamApi is not good\n", construction},
      {"doRegister", [] { platform().doRegisterResult = -1; }, "L2: Error from doRegister\n",
       "doRegister"},
      {"duplicate", [] { Zel::RecordFactory::registerFunc(0x111D0002, {}); },
       "L2: Error from registerFunc for 0x111d0002\n", construction},
  };
  const auto runUntilExit = [] {
    std::atexit([] { std::fprintf(stderr, "%s\n", platform().calls.back().c_str()); });
    runWith();
  };
  for (const Case& one : cases) {
    SCOPED_TRACE(one.name);
    platform().reset();
    one.arrange();
    const std::string end = one.lastCall + std::string("\n$");
    EXPECT_EXIT(runUntilExit(), ExitedWithCode(255), "^" + std::string(one.said) + end);
    zelLogLevelThreshold = 1;
    EXPECT_EXIT(runUntilExit(), ExitedWithCode(255), "^" + end);
  }
}

TEST_F(StartUpTest, RegistersNoCreatorWhenTheProcessOrTheApiIsNotGood) {
  scripted::StandardOutput output;
  platform().processGood = false;
  make({"--group", "none"});  // no option is read
  EXPECT_TRUE(!daemon->isGood() && Zel::RecordFactory::funcMap().empty());
  startOver();
  platform().apiGood = false;
  make();
  EXPECT_TRUE(!daemon->isGood() && Zel::RecordFactory::funcMap().empty());
  EXPECT_EQ(output.take(), "");
}

enum Kind { record, keys, event, update };

struct Step {
  unsigned int id;
  Kind kind = record;
  bool operator==(const Step&) const = default;
};

constexpr Step inOrder[] = {{0x111D0002},       {0x111D0004}, {0x111E0001},       {0x111E0002},
                            {0x111F0003},       {0x111F0004}, {0x111F0010},       {0x111F0001},
                            {0x111F0002},       {0x111F0009}, {0x111F000A},       {0x111F0005},
                            {0x111F0005, keys}, {0x111F0006}, {0x111F0006, keys}, {0x111F000D},
                            {0x111F000D, keys}, {0x111F000E}, {0x111F000E, keys}, {0x111F0007},
                            {0x111F0007, keys}, {0x08010014}};
constexpr unsigned int madeByTheDaemonAlone[] = {0x111D0003, 0x111F0008, 0x111F000B, 0x111F000C};

/// A record that is not above joins without a line here: its golden row has its id.
bool isAdded(const Step& step) {
  return !std::ranges::count(inOrder, step.id, &Step::id) &&
         !std::ranges::count(madeByTheDaemonAlone, step.id);
}

/// The creators of records and key sets, as the table of the catalogue has them.
std::vector<Step> creatorsOfTheTable() {
  std::vector<Step> steps;
  Zel::catalogue::every(Zel::catalogue::Records{}, [&]<class R>() {
    if (Zel::catalogue::Registered<R>) steps.push_back({R::recordId});
    if (Zel::catalogue::Keyed<R>) steps.push_back({R::recordId, keys});
    return true;
  });
  return steps;
}

TEST_F(StartUpTest, ADuplicateCreatorStopsTheRegistrationWhereItIs) {
  std::vector<Step> order = creatorsOfTheTable(), known = order;
  std::erase_if(known, isAdded);
  EXPECT_TRUE(std::ranges::equal(known, inOrder));
  order.insert(order.end(), {{0x111D0001, event}, {0x111D0002, update}});
  std::size_t before = 0;
  for (const auto& [id, kind] : order) {
    SCOPED_TRACE(id);
    startOver();
    kind == record  ? Zel::RecordFactory::registerFunc(id, {})
    : kind == keys  ? Zel::RecordFactory::registerKeysFunc(id, {})
    : kind == event ? Zel::EventFactory::registerFunc(id, {})
                    : Zel::RecordUpdateEventFactory::registerFunc(id, {});
    make();
    EXPECT_FALSE(daemon->isGood());
    char said[64];
    std::snprintf(said, sizeof said, "Error from %s for 0x%x",
                  kind == keys ? "registerKeysFunc" : "registerFunc", id);
    EXPECT_EQ(platform().takeLog(2), std::vector<std::string>{said});
    // Those before it stay; nothing after it is registered.
    EXPECT_EQ(Zel::RecordFactory::funcMap().size() + Zel::RecordFactory::keysFuncMap().size() +
                  Zel::EventFactory::funcMap().size() +
                  Zel::RecordUpdateEventFactory::funcMap().size(),
              before + 1);
    EXPECT_TRUE(kind != record || Zel::RecordFactory::funcMap().at(id).empty()) << "it stays";
    EXPECT_EQ(platform().calls.back(), "Process 33 15 options");
    ++before;
  }
}

TEST_F(StartUpTest, RegistersACreatorForEachRecordOfTheFactory) {
  make();
  for (const auto& [id, create] : Zel::RecordFactory::funcMap()) {
    EXPECT_EQ(create()->id, id);
    EXPECT_NE(create(), create()) << id;
  }
  for (const auto& [id, create] : Zel::RecordFactory::keysFuncMap()) {
    EXPECT_EQ(create(true)->id, id);
    EXPECT_TRUE(create(true)->wildcardAllowed);
    EXPECT_FALSE(create(false)->wildcardAllowed);
    EXPECT_NE(create(true), create(true)) << id;
  }
  const auto& createEvent = Zel::EventFactory::funcMap().at(0x111D0001);
  EXPECT_EQ(createEvent()->severity, 4u);
  EXPECT_NE(createEvent(), createEvent());
  const auto& createUpdate = Zel::RecordUpdateEventFactory::funcMap().at(0x111D0002);
  EXPECT_EQ(createUpdate()->id, 0x111D0002u);
  EXPECT_NE(createUpdate(), createUpdate());
}

/// Which slots are filled, a digit each.
std::string filledSlots() {
  const auto& s = platform().slots;
  std::string filled;
  for (const bool one :
       {bool(s.get), bool(s.getBySession), bool(s.set), bool(s.setBySession), bool(s.notify),
        bool(s.notifyBySession), bool(s.clear), bool(s.clearBySession), bool(s.svcRegInd),
        bool(s.svcRegResult), bool(s.initProvComplete), bool(s.setIndResult), bool(s.getKeys),
        bool(s.getKeysBySession)}) {
    filled += one ? '1' : '0';
  }
  return filled;
}

TEST_F(StartUpTest, FillsTheSlotsThatTheOmitOptionsLeave) {
  const struct {
    std::vector<std::string> options;
    const char* filled;
  } cases[] = {
      {{}, "10101010111110"},
      {{"--no-get"}, "00101010111110"},
      {{"--no-get-keys"}, "10101010111100"},
      {{"--no-set"}, "10001010111110"},
      {{"--no-clear"}, "10101000111110"},
      {{"--no-init-prov"}, "10101010110110"},
      {{"--no-notify"}, "10100010001010"},
      {{"--no-get", "--no-notify", "--no-set", "--no-clear", "--no-init-prov", "--no-get-keys"},
       "00000000000000"},
  };
  for (const auto& one : cases) {
    SCOPED_TRACE(testing::PrintToString(one.options));
    startOver();
    make(one.options);
    EXPECT_TRUE(daemon->isGood());
    EXPECT_EQ(filledSlots(), one.filled);
    EXPECT_EQ(platform().slots.option, 30);
  }
}

TEST_F(StartUpTest, WithoutWorkTheSimulatorEndsAfterItsFirstPause) {
  zelLogLevelThreshold = 5;
  make();
  platform().advance(4);
  EXPECT_FALSE(platform().simulatorEnded());
  platform().advance(1);
  EXPECT_TRUE(platform().simulatorEnded());
  EXPECT_EQ(platform().takeLog(5), std::vector<std::string>{"serverSendEvents started"});
  EXPECT_TRUE(platform().takeSent().empty());
}

}  // namespace
