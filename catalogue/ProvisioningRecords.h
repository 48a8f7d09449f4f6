// Provisioning records (configuration rows) and action records (commands carried by a set).
//
// An enumeration is held in 32 bits and crosses the wire as its low byte.
#pragma once

#include "catalogue/RecordIds.h"
#include "records/RecordOf.h"

namespace Zel {

struct RecordTest1Prov1 final : RegisteredRecordOf<RecordTest1Prov1> {
  static constexpr std::uint32_t recordId = RECORD_TEST1PROV1_ID;
  static constexpr const char* nameText = "Test1-Prov1";

  std::uint16_t testField2 = 0;

  static constexpr std::tuple fields{Field<&RecordTest1Prov1::testField2>{"testField2"}};
};

/// Only sent in set indications.
struct RecordTest1Prov2 final : RecordOf<RecordTest1Prov2> {
  static constexpr std::uint32_t recordId = RECORD_TEST1PROV2_ID;
  static constexpr const char* nameText = "Test1-Prov2";

  std::uint8_t xyzService = 0;
  std::uint16_t testField1 = 0;
  std::uint16_t testField2 = 0;

  static constexpr std::tuple fields{
      Field<&RecordTest1Prov2::xyzService>{"xyzService", between(1, 1)},
      Field<&RecordTest1Prov2::testField1>{"testField1"},
      Field<&RecordTest1Prov2::testField2>{"testField2"}};
};

struct RecordTest1Prov3 final : RegisteredRecordOf<RecordTest1Prov3> {
  static constexpr std::uint32_t recordId = RECORD_TEST1PROV3_ID;
  static constexpr const char* nameText = "Test1-Prov3";

  std::uint16_t testField1 = 0;  ///< the row key
  std::uint16_t testField2 = 0;
  std::uint16_t testField3 = 0;
  std::uint16_t testField4 = 0;
  std::uint16_t testField5 = 0;

  static constexpr std::tuple fields{Field<&RecordTest1Prov3::testField1>{"testField1"},
                                     Field<&RecordTest1Prov3::testField2>{"testField2"},
                                     Field<&RecordTest1Prov3::testField3>{"testField3"},
                                     Field<&RecordTest1Prov3::testField4>{"testField4"},
                                     Field<&RecordTest1Prov3::testField5>{"testField5"}};
};

struct RecordTest2Prov1 final : RegisteredRecordOf<RecordTest2Prov1> {
  static constexpr std::uint32_t recordId = RECORD_TEST2PROV1_ID;
  static constexpr const char* nameText = "Test2-Prov1";

  std::uint16_t testField1 = 0;
  std::uint16_t testField2 = 0;

  static constexpr std::tuple fields{Field<&RecordTest2Prov1::testField1>{"testField1"},
                                     Field<&RecordTest2Prov1::testField2>{"testField2"}};
};

struct RecordTest3Prov1 final : RegisteredRecordOf<RecordTest3Prov1> {
  static constexpr std::uint32_t recordId = RECORD_TEST3PROV1_ID;
  static constexpr const char* nameText = "Test3-Prov1";

  bool testField1 = false;
  std::uint16_t testField2 = 0;
  std::uint32_t testField3 = 0;  ///< an enumeration
  char testField4[33] = {};

  static constexpr std::tuple fields{
      Field<&RecordTest3Prov1::testField1>{"testField1"},
      Field<&RecordTest3Prov1::testField2>{"testField2"},
      Field<&RecordTest3Prov1::testField3, std::uint8_t>{"testField3"},
      Field<&RecordTest3Prov1::testField4>{"testField4"}};
};

struct RecordTest3Prov2 final : RegisteredRecordOf<RecordTest3Prov2> {
  static constexpr std::uint32_t recordId = RECORD_TEST3PROV2_ID;
  static constexpr const char* nameText = "Test3-Prov2";

  std::uint16_t testField1 = 0;
  std::uint16_t testField2 = 0;

  static constexpr std::tuple fields{Field<&RecordTest3Prov2::testField1>{"testField1"},
                                     Field<&RecordTest3Prov2::testField2>{"testField2"}};
};

struct RecordTest3Prov3 final : RegisteredRecordOf<RecordTest3Prov3> {
  static constexpr std::uint32_t recordId = RECORD_TEST3PROV3_ID;
  static constexpr const char* nameText = "Test3-Prov3";

  enum TestSwitch : std::uint32_t { TEST_OFF = 1 };

  std::int16_t testKey1 = 0;
  std::uint16_t testKey2 = 0;
  TestSwitch testField1 = TestSwitch{};
  std::uint16_t testField2 = 0;
  std::uint16_t testField3 = 0;
  std::uint8_t testField4 = 0;

  static constexpr std::tuple fields{
      Field<&RecordTest3Prov3::testKey1>{"testKey1"},
      Field<&RecordTest3Prov3::testKey2>{"testKey2", between(1, 32)},
      Field<&RecordTest3Prov3::testField1, std::uint8_t>{"testField1"},
      Field<&RecordTest3Prov3::testField2>{"testField2"},
      Field<&RecordTest3Prov3::testField3>{"testField3"},
      Field<&RecordTest3Prov3::testField4>{"testField4"}};
};

struct RecordTest3Prov4 final : RegisteredRecordOf<RecordTest3Prov4> {
  static constexpr std::uint32_t recordId = RECORD_TEST3PROV4_ID;
  static constexpr const char* nameText = "Test3-Prov4";

  std::uint32_t testField1 = 0;  ///< an enumeration
  std::uint8_t testField2 = 0;
  std::uint16_t testField3 = 0;

  static constexpr std::tuple fields{
      Field<&RecordTest3Prov4::testField1, std::uint8_t>{"testField1"},
      Field<&RecordTest3Prov4::testField2>{"testField2"},
      Field<&RecordTest3Prov4::testField3>{"testField3"}};
};

struct RecordTest3Action1 final : RegisteredRecordOf<RecordTest3Action1> {
  static constexpr std::uint32_t recordId = RECORD_TEST3ACTION1_ID;
  static constexpr const char* nameText = "Test3-Action1";

  bool testRun = false;

  static constexpr std::tuple fields{Field<&RecordTest3Action1::testRun>{"testRun"}};
};

struct RecordTest3Action2 final : RegisteredRecordOf<RecordTest3Action2> {
  static constexpr std::uint32_t recordId = RECORD_TEST3ACTION2_ID;
  static constexpr const char* nameText = "Test3-Action2";

  bool testRun = false;

  static constexpr std::tuple fields{Field<&RecordTest3Action2::testRun>{"testRun"}};
};

struct RecordProvLabelsConfig final : RegisteredRecordOf<RecordProvLabelsConfig> {
  static constexpr std::uint32_t recordId = RECORD_PROVLABELSCONFIG_ID;
  static constexpr const char* nameText = "Prov-Labels-Config";

  std::uint32_t labelsConfig = 0;  ///< an enumeration

  static constexpr std::tuple fields{
      Field<&RecordProvLabelsConfig::labelsConfig, std::uint8_t>{"labelsConfig"}};
};

}  // namespace Zel
