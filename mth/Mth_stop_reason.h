#pragma once

#include <cstdint>

#include "std/Std_export.h"

/// How the last run of an engine ended.
enum class MTH_STOP_REASON : std::uint8_t {
  NotRun,        ///< no run yet, or a copied engine
  Converged,     ///< the run met its own criterion
  IterationCap,  ///< the iterations allowed were used up, or none were allowed
  Cancelled,  ///< the progress window or the display asked for it; what is left is what the run had reached
  NoMemory,   ///< an allocation failed
  BadInput,   ///< a null start, samples that do not fit, no centroids ...
  NotFinite   ///< a value that the run cannot do without was NaN or infinite
};

/// @return  a French sentence for people that tells the reason; never null. A value outside the enumeration
///          has a sentence of its own.
MTH_EXPORT const char* Mth_StopReasonText(MTH_STOP_REASON reason);
