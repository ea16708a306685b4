#pragma once

#include <cstdint>

#include "orlo/time/time.h"

namespace Orlo::IMPL {

/// The minutes that a zone argument means: itself, or the local zone.
///
/// The local zone may change between two calls, so an operation resolves its zone once and hands the result
/// on.
inline std::int16_t resolve_zone(std::int16_t zone) {
    return zone == TZ_LOCAL ? static_cast<std::int16_t>(CTime::GetLocalTimeZone()) : zone;
}

/// The same in microseconds.
inline std::int64_t zone_offset(std::int16_t zone) {
    return resolve_zone(zone) * US_PER_MINUTE;
}

}  // namespace Orlo::IMPL
