// The numbers of the photo application for comparisons, and for clauses over faces.
#pragma once

#include <cstdint>

namespace moxtel {

namespace qualifier {
inline constexpr std::int32_t kHasValue = 1;
inline constexpr std::int32_t kEqual = 5;
inline constexpr std::int32_t kNotEqual = 6;
inline constexpr std::int32_t kAtLeast = 8;
inline constexpr std::int32_t kInLast = 18;       // relative dates
inline constexpr std::int32_t kFromThrough = 20;  // two days
inline constexpr std::int32_t kContains = 23;     // texts
inline constexpr std::int32_t kIs = 40;           // of an enumeration
inline constexpr std::int32_t kIsNot = 41;
inline constexpr std::int32_t kIsNamed = 61;  // faces
}  // namespace qualifier

inline constexpr std::int32_t kFaceType = 40;  // RuleClause::type

}  // namespace moxtel
