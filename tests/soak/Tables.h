// What the daemon answers to requests that do not depend on anything, as literals: a request, and
// what stands in its reply.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

namespace soak {

struct ConstantRecord {
  std::uint32_t id;
  std::vector<std::string> rows;
};

// Without keys. The first seven are never read back; the keyed ones have no row without a key.
inline const ConstantRecord constantRecords[] = {
    {0x08010014, {}},
    {0x111d0002, {}},
    {0x111d0003, {}},
    {0x111d0004, {}},
    {0x111e0002, {}},
    {0x111f0001, {}},
    {0x111f0002, {}},
    {0x111f0003, {"111f0003000400000001", "111f0003000400020003", "111f0003000400040005"}},
    {0x111f0005, {}},
    {0x111f0006, {}},
    {0x111f0007, {}},
    {0x111f0009, {"111f0009000a00010002010003000403"}},
    {0x111f000a, {"111f000a000402160021"}},
    {0x111f000b,
     {"111f000b000400000103", "111f000b0004000a0200", "111f000b000400140501",
      "111f000b0004001e0402"}},
    {0x111f000c,
     {"111f000c0006000100020501", "111f000c0006020300040303", "111f000c0006010500060400"}},
    {0x111f000d, {}},
    {0x111f000e, {}},
};

// Blocks that a set or notify takes, and whose apply action comes back as it was sent.
inline constexpr const char* plainBlocks[] = {
    "08010014000103",
    "111e0001000401020304",
    "111e000200040102f304",
    "111f0001000b01a2a3fe00055465787400",
    "111f000200040102f304",
    "111f0003000401020304",
    "111f0005001c1112131421222324f1f2f3f4a1a2a3a4a5a6a7a80102030405060708",
    "111f0006000c03ff000901020304f5f6f7f8",
    "111f000700100000000901020005010203040506f7f8",
    "111f0009000afffe0020a50304050607",
    "111f000a000481828384",
    "111f000d001c1112131421222324f1f2f3f4a1a2a3a4a5a6a7a80102030405060708",
    "111f000e001c1112131421222324f1f2f3f4a1a2a3a4a5a6a7a80102030405060708",
};

/// Results with which requests are refused.
inline constexpr const char* badValue = R"("result":2,"resultText":"Bad-Value")";
inline constexpr const char* badKey = R"("result":11,"resultText":"Bad-Key-Value")";
inline constexpr const char* badRecordId = R"("result":14,"resultText":"Invalid-Record-Id")";

struct RefusedBlock {
  const char *block, *result, *reason;
};

inline constexpr RefusedBlock refusedBlocks[] = {
    {"", badValue, "the record block is too short to hold a record id"},
    {"111f00", badValue, "the record block is too short to hold a record id"},
    {"111d0004000a000500", badValue,
     "the record block of Test1-Prov3 (0x111d0004) does not read as a valid record"},
    {"111f0009000a00010021010003000403", badValue,
     "the record block of Test3-Prov3 (0x111f0009) does not read as a valid record"},
    {"111d0003000501000c0022", badRecordId, "there is no record class for the id 0x111d0003"},
    {"111f00080006010203040506", badRecordId, "there is no record class for the id 0x111f0008"},
    {"111f000b000400000103", badRecordId, "there is no record class for the id 0x111f000b"},
    {"111f000c0006000100020501", badRecordId, "there is no record class for the id 0x111f000c"},
    {"123456780001", badRecordId, "there is no record class for the id 0x12345678"},
};

struct RefusedQuery {
  const char *method, *params, *result, *reason;
};

inline constexpr RefusedQuery refusedQueries[] = {
    {"get", R"({"recordId":"0x12340001"})", badRecordId, "Invalid record id 0x12340001"},
    {"get", R"({"recordId":"0x111f000b","queryKeys":["0000"]})", badKey,
     "record 0x111f000b has no key class, and key blocks were given"},
    {"get",
     R"({"recordId":"0x111f0006",)"
     R"("queryKeys":["000c000100020005000200020003","000c000100020400000200020000"]})",
     badKey, "a key block of Test3-Stats3 (0x111f0006) does not read as a valid key set"},
    {"get", R"({"recordId":"0x111f0005","queryKeys":["000c000101000200000400000005"]})", badKey,
     "a key block of Test3-Stats2 (0x111f0005) does not read as a valid key set"},
    {"getKeys", R"({"recordId":"0x111f000e"})", badKey,
     "Invalid query key for record id 0x111f000e"},
    {"getKeys",
     R"({"recordId":"0x111f0005","queryKeys":"000c000101000200000400000005",)"
     R"("wildcardAllowed":true,"firstRequest":false})",
     badKey, "Invalid query key for record id 0x111f0005"},
    {"clear", R"({"recordId":"0x12340001"})", badRecordId, "Invalid record id 0x12340001"},
};

struct Fault {
  const char *method, *params;
  int code;
  const char* message;
};

inline constexpr const char* noRecordId =
    "recordId must be an integer from 0 to 4294967295 or a string in hexadecimal with 0x";

inline constexpr Fault faults[] = {
    {"no-such", "{}", -32601, "there is no method no-such"},
    {"status", "5", -32600, "params must be an object"},
    {"status", "[1]", -32602, "parameters are given by name, in an object"},
    {"subscribe", R"({"to":"alarm"})", -32602, "to is no parameter of this method"},
    {"get", "{}", -32602, "recordId is missing"},
    {"get", R"({"recordId":1,"recordid":1})", -32602, "recordid is no parameter of this method"},
    {"get", R"({"recordId":"111f000b"})", -32602, noRecordId},
    {"get", R"({"recordId":-1})", -32602, noRecordId},
    {"get", R"({"recordId":1,"queryKeys":["00",null]})", -32602,
     "queryKeys[1] must be a string of hexadecimal digits"},
    {"get", R"({"recordId":1,"batchSize":65536})", -32602,
     "batchSize must be an integer from 0 to 65535"},
    {"get", R"({"recordId":1,"clearOnRead":1})", -32602, "clearOnRead must be true or false"},
    {"set", R"({"record":"0g","opType":1})", -32602,
     "record must be an even number of hexadecimal digits"},
    {"set", R"({"record":"00"})", -32602, "opType is missing"},
    {"svcRegResult", R"({"kind":12,"result":0})", -32602, "groups is missing"},
    {"svcRegResult", R"({"kind":12,"result":0,"groups":[65536]})", -32602,
     "groups[0] must be an integer from 0 to 65535 or a string in hexadecimal with 0x"},
};

/// A line that is refused as a whole. Where the message is not whole, the parser of JSON goes on.
struct BrokenLine {
  const char *line, *id;
  int code;
  const char* message;
};

inline constexpr const char* noJson = "not a JSON text: ";

inline constexpr BrokenLine brokenLines[] = {
    {"", "null", -32700, noJson},
    {R"({"jsonrpc":"2.0",)", "null", -32700, noJson},
    {"[[[[[[[[[[[[[[[[[[[[[[[[[[[[[[[[[[1]]]]]]]]]]]]]]]]]]]]]]]]]]]]]]]]]]", "null", -32700,
     "nested deeper than 32"},
    {"[]", "null", -32600, "a batch holds at least one request"},
    {"7", "null", -32600, "a request is an object"},
    {R"({"jsonrpc":"1.0","id":7,"method":"status"})", "7", -32600, R"(jsonrpc must be \"2.0\")"},
    {R"({"jsonrpc":"2.0","id":1.5,"method":"status"})", "null", -32600,
     "id must be a string, an integer of 64 bits or null"},
};

}  // namespace soak
