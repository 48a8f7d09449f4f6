// Record ids: the upper 16 bits are the group, the lower 16 the record's number in it.
#pragma once

#include <cstdint>

namespace Zel {

inline constexpr std::uint32_t RECORD_TEST1PROV1_ID = 0x111D0002;
inline constexpr std::uint32_t RECORD_TEST1PROV2_ID = 0x111D0003;
inline constexpr std::uint32_t RECORD_TEST1PROV3_ID = 0x111D0004;

inline constexpr std::uint32_t RECORD_TEST2STATS1_ID = 0x111E0001;
inline constexpr std::uint32_t RECORD_TEST2PROV1_ID = 0x111E0002;

inline constexpr std::uint32_t RECORD_TEST3PROV1_ID = 0x111F0001;
inline constexpr std::uint32_t RECORD_TEST3PROV2_ID = 0x111F0002;
inline constexpr std::uint32_t RECORD_TEST3STATS1_ID = 0x111F0003;
inline constexpr std::uint32_t RECORD_TEST3ACTION1_ID = 0x111F0004;
inline constexpr std::uint32_t RECORD_TEST3STATS2_ID = 0x111F0005;
inline constexpr std::uint32_t RECORD_TEST3STATS3_ID = 0x111F0006;
inline constexpr std::uint32_t RECORD_TEST3STATS9_ID = 0x111F0007;
inline constexpr std::uint32_t RECORD_TEST3STATS4_ID = 0x111F0008;
inline constexpr std::uint32_t RECORD_TEST3PROV3_ID = 0x111F0009;
inline constexpr std::uint32_t RECORD_TEST3PROV4_ID = 0x111F000A;
inline constexpr std::uint32_t RECORD_TEST3STATS5_ID = 0x111F000B;
inline constexpr std::uint32_t RECORD_TEST3STATS6_ID = 0x111F000C;
inline constexpr std::uint32_t RECORD_TEST3STATS7_ID = 0x111F000D;
inline constexpr std::uint32_t RECORD_TEST3STATS8_ID = 0x111F000E;
inline constexpr std::uint32_t RECORD_TEST3ACTION2_ID = 0x111F0010;

inline constexpr std::uint32_t RECORD_PROVLABELSCONFIG_ID = 0x08010014;

}  // namespace Zel
