#pragma once

#include "std/Std_export.h"

/// @file
/// Pseudo-random numbers.
///
/// All state belongs to the process and is not guarded: calls from several threads must be serialised. The
/// families 1 to 3 have five streams each, 0 to 4, seeded from the clock; any other stream number is refused
/// and changes nothing. A stream that was never initialised yields 0.

/// Replaces the clock behind the seeds, for reproducible runs: Mth_SetRandomClock([] { return 4711; }).
/// Streams of a family that are seeded at the same hundredth of a second, as with such a clock, yield the
/// same numbers; for different streams let the function answer something else each time.
/// @param hundredths  answers hundredths of a second since midnight: 0 to 8,639,999, others count modulo one
///                    day. Null restores the local time of day.
/// @return            the former function; null for the time of day.
MTH_EXPORT int (*Mth_SetRandomClock(int (*hundredths)()))();

/// Uniform deviate in (0, 1) from a seed that the caller holds: two combined congruential generators and a
/// shuffle. The second generator and the shuffle exist once: callers with different seeds share them.
/// The first multiplier's remainder is 12221 here, so the sequence is not that of the published constants.
/// @param idum  a value of 0 or below restarts the sequence of that magnitude (0 that of 1); otherwise to be
///              left alone between calls. A magnitude beyond 32 bits counts modulo 2147483563, 0 as 1.
/// @return      0, which is no deviate, for a null pointer.
/// @see  L'Ecuyer, Communications of the ACM 31 (1988); Bays & Durham, ACM TOMS 2 (1976).
MTH_EXPORT float Mth_RandomGenerator(long* idum);

/// Seeds a stream of family 1; the next draw builds its table. Seeded at midnight exactly, a new stream
/// yields 0.
/// @return  false for a stream outside 0 ... 4.
MTH_EXPORT bool Mth_InitRandom1(short stream);
/// Uniform deviate in [0, 1) by the subtractive method; -1 for a stream outside 0 ... 4. All streams of a
/// family share the cursors into their tables, which is intended: a draw from one moves those of the others.
/// @see  Knuth, The Art of Computer Programming, volume 2, section 3.2.
MTH_EXPORT double Mth_Random1(short stream);

/// Seeds a stream of family 2, as Mth_InitRandom1, and sets its range [low, high].
MTH_EXPORT bool Mth_InitRandom2(short stream, short low, short high);
/// Uniform integer of the stream's range, by the method of Mth_Random1; -1 for a stream outside 0 ... 4.
MTH_EXPORT int Mth_Random2(short stream);

/// Loads the register of a stream of family 3; loaded at midnight exactly, it yields only zero bits.
/// @return  false for a stream outside 0 ... 4.
MTH_EXPORT bool Mth_InitRandom3(short stream);
/// Random bit, 0 or 1, of a shift register with the primitive polynomial x^18 + x^5 + x^2 + x + 1; -1 for a
/// stream outside 0 ... 4.
MTH_EXPORT short Mth_Random3(short stream);

/// Seeds a stream of family 1 for Mth_NormalRandomGenerator, as Mth_InitRandom1. A deviate that is still kept
/// stays and comes first: a run repeats the last one only after an even number of deviates.
MTH_EXPORT bool Mth_InitNormalRandom(short stream);
/// Standard normal deviate by the polar method, in single precision, from a stream of family 1. Deviates come
/// in pairs: the second one is kept and returned by the next call for any stream, which is intended. The pair
/// (0, 0), accepted on purpose, gives a NaN.
/// @return  0 for a stream outside 0 ... 4; for one that was never seeded the kept deviate, or 0 without one.
/// @see     Box & Muller, Annals of Mathematical Statistics 29 (1958).
MTH_EXPORT float Mth_NormalRandomGenerator(short stream);

/// Draws k distinct integers of [0, n), in draw order, from a seed of its own: the same in every process.
/// @param out  receives k integers.
/// @return     false, and nothing written, when k > n or the array is missing.
MTH_EXPORT bool Mth_Random_SelectAleat(short k, short n, short* out);
