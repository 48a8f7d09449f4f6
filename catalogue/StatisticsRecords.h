// Statistics records: read-only rows filled with test counters, and the keys of the tables among
// them. The keys of a table equal the leading fields of its rows, by name.
#pragma once

#include "catalogue/RecordIds.h"
#include "records/KeysOf.h"
#include "records/RecordOf.h"

namespace Zel {

struct RecordTest2Stats1 final : RegisteredRecordOf<RecordTest2Stats1> {
  static constexpr std::uint32_t recordId = RECORD_TEST2STATS1_ID;
  static constexpr const char* nameText = "Test2-Stats1";

  std::uint16_t testField1 = 0;
  std::uint16_t testField2 = 0;

  static constexpr std::tuple fields{Field<&RecordTest2Stats1::testField1>{"testField1"},
                                     Field<&RecordTest2Stats1::testField2>{"testField2"}};
};

struct RecordTest3Stats1 final : RegisteredRecordOf<RecordTest3Stats1> {
  static constexpr std::uint32_t recordId = RECORD_TEST3STATS1_ID;
  static constexpr const char* nameText = "Test3-Stats1";

  std::uint16_t testField1 = 0;
  std::uint16_t testField2 = 0;

  static constexpr std::tuple fields{Field<&RecordTest3Stats1::testField1>{"testField1"},
                                     Field<&RecordTest3Stats1::testField2>{"testField2"}};
};

struct RecordTest3Stats4 final : RecordOf<RecordTest3Stats4> {
  static constexpr std::uint32_t recordId = RECORD_TEST3STATS4_ID;
  static constexpr const char* nameText = "Test3-Stats4";

  std::uint16_t testField1 = 0;
  std::uint16_t testField2 = 0;
  std::uint16_t testField3 = 0;

  static constexpr std::tuple fields{Field<&RecordTest3Stats4::testField1>{"testField1"},
                                     Field<&RecordTest3Stats4::testField2>{"testField2"},
                                     Field<&RecordTest3Stats4::testField3>{"testField3"}};
};

struct RecordTest3Stats5 final : RecordOf<RecordTest3Stats5> {
  static constexpr std::uint32_t recordId = RECORD_TEST3STATS5_ID;
  static constexpr const char* nameText = "Test3-Stats5";

  std::uint16_t testField1 = 0;
  std::uint32_t testField2 = 0;
  std::uint32_t testField3 = 0;

  static constexpr std::tuple fields{
      Field<&RecordTest3Stats5::testField1>{"testField1"},
      Field<&RecordTest3Stats5::testField2, std::uint8_t>{"testField2"},
      Field<&RecordTest3Stats5::testField3, std::uint8_t>{"testField3"}};
};

struct RecordTest3Stats6 final : RecordOf<RecordTest3Stats6> {
  static constexpr std::uint32_t recordId = RECORD_TEST3STATS6_ID;
  static constexpr const char* nameText = "Test3-Stats6";

  std::uint32_t testField1 = 0;
  std::uint8_t testField2 = 0;
  std::uint16_t testField3 = 0;
  std::uint32_t testField4 = 0;
  std::uint32_t testField5 = 0;

  static constexpr std::tuple fields{
      Field<&RecordTest3Stats6::testField1, std::uint8_t>{"testField1"},
      Field<&RecordTest3Stats6::testField2>{"testField2"},
      Field<&RecordTest3Stats6::testField3>{"testField3"},
      Field<&RecordTest3Stats6::testField4, std::uint8_t>{"testField4"},
      Field<&RecordTest3Stats6::testField5, std::uint8_t>{"testField5"}};
};

/// Rows of the three tables that are keyed by a pair of numbers.
template <class Derived>
struct KeyPairRow : RegisteredRecordOf<Derived> {
  std::uint32_t key1 = 0;
  std::uint32_t key2 = 0;
  std::uint32_t testField1 = 0;
  std::uint64_t testField2 = 0;
  std::uint64_t testField3 = 0;

  static constexpr std::tuple fields{
      Field<&KeyPairRow::key1>{"key1"}, Field<&KeyPairRow::key2>{"key2"},
      Field<&KeyPairRow::testField1>{"testField1"}, Field<&KeyPairRow::testField2>{"testField2"},
      Field<&KeyPairRow::testField3>{"testField3"}};
};

template <class Derived, class RecordClass>
struct KeyPair : KeysOf<Derived, RecordClass> {
  using KeysOf<Derived, RecordClass>::KeysOf;

  Key<std::uint32_t> key1;
  Key<std::uint32_t> key2;

  static constexpr std::tuple fields{Field<&KeyPair::key1>{"key1"}, Field<&KeyPair::key2>{"key2"}};
};

struct RecordTest3Stats2 final : KeyPairRow<RecordTest3Stats2> {
  static constexpr std::uint32_t recordId = RECORD_TEST3STATS2_ID;
  static constexpr const char* nameText = "Test3-Stats2";

  struct RecordTest3Stats2Keys final : KeyPair<RecordTest3Stats2Keys, RecordTest3Stats2> {
    using KeyPair::KeyPair;
  };
  using Keys = RecordTest3Stats2Keys;
};

struct RecordTest3Stats7 final : KeyPairRow<RecordTest3Stats7> {
  static constexpr std::uint32_t recordId = RECORD_TEST3STATS7_ID;
  static constexpr const char* nameText = "Test3-Stats7";

  struct RecordTest3Stats7Keys final : KeyPair<RecordTest3Stats7Keys, RecordTest3Stats7> {
    using KeyPair::KeyPair;
  };
  using Keys = RecordTest3Stats7Keys;
};

struct RecordTest3Stats8 final : KeyPairRow<RecordTest3Stats8> {
  static constexpr std::uint32_t recordId = RECORD_TEST3STATS8_ID;
  static constexpr const char* nameText = "Test3-Stats8";

  struct RecordTest3Stats8Keys final : KeyPair<RecordTest3Stats8Keys, RecordTest3Stats8> {
    using KeyPair::KeyPair;
  };
  using Keys = RecordTest3Stats8Keys;
};

struct RecordTest3Stats3 final : RegisteredRecordOf<RecordTest3Stats3> {
  static constexpr std::uint32_t recordId = RECORD_TEST3STATS3_ID;
  static constexpr const char* nameText = "Test3-Stats3";

  std::uint16_t sfn = 0;
  std::uint16_t sf = 0;
  std::uint32_t testField1 = 0;
  std::uint32_t testField2 = 0;

  static constexpr std::tuple fields{Field<&RecordTest3Stats3::sfn>{"sfn", atMost(1023)},
                                     Field<&RecordTest3Stats3::sf>{"sf", atMost(9)},
                                     Field<&RecordTest3Stats3::testField1>{"testField1"},
                                     Field<&RecordTest3Stats3::testField2>{"testField2"}};

  struct RecordTest3Stats3Keys final : KeysOf<RecordTest3Stats3Keys, RecordTest3Stats3> {
    using KeysOf::KeysOf;

    Key<std::uint16_t> sfn;
    Key<std::uint16_t> sf;

    static constexpr std::tuple fields{Field<&RecordTest3Stats3Keys::sfn>{"sfn", atMost(1023)},
                                       Field<&RecordTest3Stats3Keys::sf>{"sf", atMost(9)}};
  };
  using Keys = RecordTest3Stats3Keys;
};

struct RecordTest3Stats9 final : RegisteredRecordOf<RecordTest3Stats9> {
  static constexpr std::uint32_t recordId = RECORD_TEST3STATS9_ID;
  static constexpr const char* nameText = "Test3-Stats9";

  std::uint32_t key1 = 0;
  std::uint16_t sfn = 0;
  std::uint16_t sf = 0;
  std::uint32_t testField1 = 0;
  std::uint32_t testField2 = 0;

  static constexpr std::tuple fields{Field<&RecordTest3Stats9::key1>{"key1", atMost(9)},
                                     Field<&RecordTest3Stats9::sfn>{"sfn", atMost(1023)},
                                     Field<&RecordTest3Stats9::sf>{"sf", atMost(9)},
                                     Field<&RecordTest3Stats9::testField1>{"testField1"},
                                     Field<&RecordTest3Stats9::testField2>{"testField2"}};

  struct RecordTest3Stats9Keys final : KeysOf<RecordTest3Stats9Keys, RecordTest3Stats9> {
    using KeysOf::KeysOf;

    Key<std::uint32_t> key1;
    Key<std::uint16_t> sfn;
    Key<std::uint16_t> sf;

    static constexpr std::tuple fields{Field<&RecordTest3Stats9Keys::key1>{"key1", atMost(9)},
                                       Field<&RecordTest3Stats9Keys::sfn>{"sfn", atMost(1023)},
                                       Field<&RecordTest3Stats9Keys::sf>{"sf", atMost(9)}};
  };
  using Keys = RecordTest3Stats9Keys;
};

}  // namespace Zel
