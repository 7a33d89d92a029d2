#pragma once

#include <cstdint>

#include "mth/core/Mth_power_table_internal.h"

/// @file
/// Tables and constants of the elementary functions. Each value of a table is the nearest double, or one with
/// as few bits as its comment says, and the rest of it stands in a second table.

namespace mth_internal {

// ---- exponential: 2^(i / 16), and the rest in relation to it ----

alignas(64) inline constexpr double kRoots[16] = {0x1p+0,
                                                  0x1.0b5586cf9890fp+0,
                                                  0x1.172b83c7d517bp+0,
                                                  0x1.2387a6e756238p+0,
                                                  0x1.306fe0a31b715p+0,
                                                  0x1.3dea64c123422p+0,
                                                  0x1.4bfdad5362a27p+0,
                                                  0x1.5ab07dd485429p+0,
                                                  0x1.6a09e667f3bcdp+0,
                                                  0x1.7a11473eb0187p+0,
                                                  0x1.8ace5422aa0dbp+0,
                                                  0x1.9c49182a3f09p+0,
                                                  0x1.ae89f995ad3adp+0,
                                                  0x1.c199bdd85529cp+0,
                                                  0x1.d5818dcfba487p+0,
                                                  0x1.ea4afa2a490dap+0};
alignas(64) inline constexpr double kRootRests[16] = {0x0p+0,
                                                      0x1.79aa65d837b6dp-54,
                                                      -0x1.01b15eaa59348p-55,
                                                      0x1.68efde3a8a894p-54,
                                                      0x1.34d754db0abb6p-55,
                                                      0x1.59f48a72a4c6dp-55,
                                                      0x1.690cebb7aafbp-56,
                                                      0x1.063e1e21c5409p-54,
                                                      -0x1.3b3efbf5e2228p-54,
                                                      -0x1.b32dcb94da51dp-56,
                                                      0x1.db72fc1f0eab4p-55,
                                                      0x1.1affc2b91ce27p-56,
                                                      0x1.c1a7792cb3387p-55,
                                                      0x1.36eae30af0cb3p-56,
                                                      0x1.4a385a63d07a7p-56,
                                                      -0x1.ff7128fd391fp-55};
inline constexpr double kSixteenOverLn2 = 0x1.71547652b82fep+4;
inline constexpr double kLn2Sixteenth = 0x1.62e42fefap-5;  // 35 bits: exact times whole numbers up to 2^18
inline constexpr double kLn2SixteenthRest = 0x1.cf79abc9e3b3ap-44;

// ---- logarithm: reciprocals of 8 bits near 1 / x, and minus their logarithms, to 42 binary places ----

alignas(64) inline constexpr double kReciprocals[16] = {
    0x1.64p+0, 0x1.56p+0, 0x1.48p+0, 0x1.3cp+0, 0x1.3p+0, 0x1.24p+0, 0x1.1ap+0, 0x1.12p+0,
    0x1.08p+0, 0x1p+0,    0x1.ep-1,  0x1.c8p-1, 0x1.bp-1, 0x1.98p-1, 0x1.88p-1, 0x1.74p-1};
alignas(64) inline constexpr double kLogs[16] = {
    -0x1.51aad872ep-2,  -0x1.2895a13de8p-2, -0x1.fb9186d5e4p-3, -0x1.af3c94e80cp-3, -0x1.5ff3070a7ap-3,
    -0x1.0d77e7cd08p-3, -0x1.8c345d6318p-4, -0x1.16536eea38p-4, -0x1.f829b0e78p-6,  0x0p+0,
    0x1.08598b59e4p-4,  0x1.da72763844p-4,  0x1.5bf406b544p-3,  0x1.d1037f2656p-3,  0x1.1178e8227ep-2,
    0x1.4718dc271cp-2};
alignas(64) inline constexpr double kLogRests[16] = {0x1.f4bd8db0a7cc1p-44,  -0x1.a8d7ad24c13fp-44,
                                                     0x1.d572aab993c87p-47,  0x1.a4e633fcd9066p-52,
                                                     0x1.8586f183bebf2p-44,  -0x1.cb2cd2ee2f482p-44,
                                                     -0x1.b20f5acb42a66p-44, 0x1.47c5e768fa309p-46,
                                                     -0x1.980267c7e09e4p-45, 0x0p+0,
                                                     -0x1.7e5dd7009902cp-46, 0x1.a89401fa71733p-46,
                                                     -0x1.27023eb68981cp-46, -0x1.84a7e75b6f6e4p-47,
                                                     0x1.1ef78ce2d07f2p-44,  0x1.06c18fb4c14c5p-44};
inline constexpr double kLn2 = 0x1.62e42fefa38p-1;  // to 42 places: sums of logarithms are exact
inline constexpr double kLn2Rest = 0x1.ef35793c7673p-45;

// ---- sine and cosine of i pi / 16; the cosines to 26 bits ----

alignas(64) inline constexpr double kSines[16] = {0x0p+0,
                                                  0x1.8f8b83c69a60bp-3,
                                                  0x1.87de2a6aea963p-2,
                                                  0x1.1c73b39ae68c8p-1,
                                                  0x1.6a09e667f3bcdp-1,
                                                  0x1.a9b66290ea1a3p-1,
                                                  0x1.d906bcf328d46p-1,
                                                  0x1.f6297cff75cbp-1,
                                                  0x1p+0,
                                                  0x1.f6297cff75cbp-1,
                                                  0x1.d906bcf328d46p-1,
                                                  0x1.a9b66290ea1a3p-1,
                                                  0x1.6a09e667f3bcdp-1,
                                                  0x1.1c73b39ae68c8p-1,
                                                  0x1.87de2a6aea963p-2,
                                                  0x1.8f8b83c69a60bp-3};
alignas(64) inline constexpr double kSineRests[16] = {0x0p+0,
                                                      -0x1.26d19b9ff8d82p-57,
                                                      -0x1.72cedd3d5a61p-57,
                                                      0x1.b25dd267f66p-55,
                                                      -0x1.bdd3413b26456p-55,
                                                      0x1.9f630e8b6dac8p-60,
                                                      0x1.457e610231ac2p-56,
                                                      0x1.562172a361fd3p-56,
                                                      0x0p+0,
                                                      0x1.562172a361fd3p-56,
                                                      0x1.457e610231ac2p-56,
                                                      0x1.9f630e8b6dac8p-60,
                                                      -0x1.bdd3413b26456p-55,
                                                      0x1.b25dd267f66p-55,
                                                      -0x1.72cedd3d5a61p-57,
                                                      -0x1.26d19b9ff8d82p-57};
alignas(64) inline constexpr double kCosineHeads[16] = {
    0x1p+0,         0x1.f6297c8p-1,  0x1.d906bc8p-1,  0x1.a9b6628p-1,  0x1.6a09e6p-1,  0x1.1c73b38p-1,
    0x1.87de2ap-2,  0x1.8f8b838p-3,  0x0p+0,          -0x1.8f8b838p-3, -0x1.87de2ap-2, -0x1.1c73b38p-1,
    -0x1.6a09e6p-1, -0x1.a9b6628p-1, -0x1.d906bc8p-1, -0x1.f6297c8p-1};
alignas(64) inline constexpr double kCosineRests[16] = {0x0p+0,
                                                        0x1.fdd72c0ab10b9p-27,
                                                        0x1.cca3518a2bf31p-27,
                                                        0x1.0ea1a3033ec62p-29,
                                                        0x1.9fcef32422cbfp-27,
                                                        0x1.ae68c86c9774ap-29,
                                                        0x1.abaa58b469891p-28,
                                                        0x1.1a6982ad92e64p-29,
                                                        0x0p+0,
                                                        -0x1.1a6982ad92e64p-29,
                                                        -0x1.abaa58b469891p-28,
                                                        -0x1.ae68c86c9774ap-29,
                                                        -0x1.9fcef32422cbfp-27,
                                                        -0x1.0ea1a3033ec62p-29,
                                                        -0x1.cca3518a2bf31p-27,
                                                        -0x1.fdd72c0ab10b9p-27};
inline constexpr double kSixteenOverPi = 0x1.45f306dc9c883p+2;
inline constexpr double kPiSixteenth[] = {0x1.921fb544p-3,
                                          0x1.0b4611a6p-37,  // 33 bits and 33: exact times 2^20
                                          0x1.3198a2e037073p-72};

// The bits of 2 / pi behind the point.
inline constexpr std::uint32_t kTwoOverPi[] = {
    0xA2F9836E, 0x4E441529, 0xFC2757D1, 0xF534DDC0, 0xDB629599, 0x3C439041, 0xFE5163AB, 0xDEBBC561,
    0xB7246E3A, 0x424DD2E0, 0x06492EEA, 0x09D1921C, 0xFE1DEB1C, 0xB129A73E, 0xE88235F5, 0x2EBB4484,
    0xE99C7026, 0xB45F7E41, 0x3991D639, 0x835339F4, 0x9C845F8B, 0xBDF9283B, 0x1FF897FF, 0xDE05980F,
    0xEF2F118B, 0x5A0A6D1F, 0x6D367ECF, 0x27CB09B7, 0x4F463F66, 0x9E5FEA2D, 0x7527BAC7, 0xEBE5F17B,
    0x3D0739F7, 0x8A5292EA, 0x6BFB5FB1, 0x1F8D5D08, 0x56033046, 0xFC7B6BAB, 0xF0CFBC20, 0x9AF4361D};

// ---- arctangent of i 37 / 256, to 42 places, and pi ----

alignas(64) inline constexpr double kArctangents[8] = {0x0p+0,
                                                       0x1.25f6e171a6p-3,
                                                       0x1.2025567e48p-2,
                                                       0x1.a2f233e5e5p-2,
                                                       0x1.0c6145b5b4p-1,
                                                       0x1.4064f4756ap-1,
                                                       0x1.6dc4455155p-1,
                                                       0x1.951b39c437p-1};
alignas(64) inline constexpr double kArctangentRests[8] = {0x0p+0,
                                                           -0x1.94741c94210f3p-44,
                                                           -0x1.b511832328f43p-45,
                                                           0x1.858c0a6afbcb8p-45,
                                                           0x1.ed065d3e84ed5p-44,
                                                           -0x1.6ed56c47c8df9p-46,
                                                           0x1.d77901de72a32p-44,
                                                           -0x1.b5485063a1319p-44};
inline constexpr double kHalfPi = 0x1.921fb54442cp+0;  // to 42 places
inline constexpr double kHalfPiRest = 0x1.18469898cc517p-44;

}  // namespace mth_internal
