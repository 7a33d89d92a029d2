#pragma once

// Arguments at which elementary functions go wrong first: results close to the middle of two doubles, the
// edges of overflow, of subnormal results and of table ranges, neighbours of multiples of pi. The results are
// MPFR's, rounded to nearest.

namespace elementary_cases {

struct Case {
  double x;
  double result;
};

struct PairCase {
  double x;
  double y;
  double result;
};

constexpr Case kExponentials[] = {
    {0x1.9e9cbbfd6080bp-31, 0x1.000000033d398p+0},
    {0x1.62e42fefa39efp+9, 0x1.fffffffffff2ap+1023},
    {0x1.62e42fefa39eep+9, 0x1.ffffffffffb2ap+1023},
    {-0x1.6232bdd7abcd2p+9, 0x1.000000000007cp-1022},
    {-0x1.6232bdd7abcd3p+9, 0x0.ffffffffffe7cp-1022},
    {-0x1.6233cc951bb62p+9, 0x0.fde4c0358ad4bp-1022},
    {-0x1.74046dfefd9dp+9, 0x0.0000000000002p-1022},
    {-0x1.74910d52d3051p+9, 0x0.0000000000001p-1022},
    {0x1p-54, 0x1p+0},
    {-0x1p-54, 0x1p+0},
    {0x1.62e42fefa39efp-6, 0x1.059b0d3158574p+0},
    {0x1.fe26b79c76878p-2, 0x1.a54fb2025a8abp+0},
    {-0x1.45p+9, 0x1.300ff6c7c2e28p-938},
    {0x1.44fffffffffffp+9, 0x1.af11c8c4dce35p+937},
};
constexpr Case kLogarithms[] = {
    {0x1.62a88613629b5p+678, 0x1.d6479eba7c971p+8},
    {0x1.ab50b409c8aeep-1, -0x1.7248a23faec2ep-3},
    {0x0.0000000000001p-1022, -0x1.74385446d71c3p+9},
    {0x0.fffffffffffffp-1022, -0x1.6232bdd7abcd2p+9},
    {0x1p-1022, -0x1.6232bdd7abcd2p+9},
    {0x1.fffffffffffffp+1023, 0x1.62e42fefa39efp+9},
    {0x1.fffffffffffffp-1, -0x1p-53},
    {0x1.0000000000001p+0, 0x1.fffffffffffffp-53},
    {0x1.fffffffffd2ap-1, -0x1.6b00000001016p-40},
    {0x1.f8p-1, -0x1.0205658935847p-6},
    {0x1.08p+0, 0x1.f829b0e7833p-6},
    {0x1.68p-1, -0x1.68ac83e9c6a14p-2},
    {0x1.5bf0a8b145769p+1, 0x1p+0},
};
constexpr Case kSines[] = {
    {0x1.6ac5b262ca1ffp+849, 0x1p+0},
    {0x1.e0000000001c2p-20, 0x1.dfffffffff02ep-20},
    {0x1.921fb54442d18p+0, 0x1p+0},
    {0x1.921fb54442d18p+1, 0x1.1a62633145c07p-53},
    {0x1.fffffffffffffp+1023, 0x1.452fc98b34e97p-8},
    {0x1.1f10ap+18, 0x1.d9fb628c4a323p-1},
    {0x1.921fb54442d18p-5, 0x1.91f65f10dd814p-5},
    {0x1.95e426e0636aep-3, 0x1.933d40e0ccc5fp-3},
    {0x1.8ea63ea19094ap+16, 0x1.87de2a6b450bcp-2},
    {0x1p+17, -0x1.ff8bd7b10d6bp-1},
    {0x1.fffffffffffffp+16, -0x1.ff8bd7b10ec3dp-1},
    {0x1.6ac5b262ca1ffp+850, -0x1.14ae72e6ba22fp-60},
    {0x1p-26, 0x1p-26},
    {0x1.8000000000009p-23, 0x1.7ffffffffffe5p-23},
};
constexpr Case kCosines[] = {
    {0x1.6ac5b262ca1ffp+849, -0x1.14ae72e6ba22fp-61},
    {0x1.e0000000001c2p-20, 0x1.fffffffffc7cp-1},
    {0x1.921fb54442d18p+0, 0x1.1a62633145c07p-54},
    {0x1.921fb54442d18p+1, -0x1p+0},
    {0x1.fffffffffffffp+1023, -0x1.fffe62ecfab75p-1},
    {0x1.1f10ap+18, -0x1.8338a923d43f7p-2},
    {0x1.921fb54442d18p-5, 0x1.ff621e3796d7ep-1},
    {0x1.95e426e0636aep-3, 0x1.f5fa3b7d7342cp-1},
    {0x1.8ea63ea19094ap+16, -0x1.d906bcf316185p-1},
    {0x1p+17, 0x1.58ced65ec8b5p-5},
    {0x1.fffffffffffffp+16, 0x1.58ced65cc9293p-5},
    {0x1.6ac5b262ca1ffp+850, -0x1p+0},
    {0x1p-26, 0x1.fffffffffffffp-1},
    {0x1.8000000000009p-23, 0x1.fffffffffff7p-1},
};
constexpr Case kArctangents[] = {
    {0x0.0000000000001p-1022, 0x0.0000000000001p-1022},
    {0x1p-30, 0x1p-30},
    {0x1.28p-4, 0x1.277c80c02ec4dp-4},
    {0x1.28p-3, 0x1.25f6e171a535cp-3},
    {0x1.878c18da60238p+0, 0x1.fbc5bab2ec4dep-1},
    {0x1p+0, 0x1.921fb54442d18p-1},
    {0x1.fffffffffffffp-1, 0x1.921fb54442d18p-1},
    {0x1.0000000000001p+0, 0x1.921fb54442d19p-1},
    {0x1.8p+1, 0x1.3fc176b7a856p+0},
    {0x1p+54, 0x1.921fb54442d18p+0},
    {0x1p+100, 0x1.921fb54442d18p+0},
    {0x1.fffffffffffffp+1023, 0x1.921fb54442d18p+0},
    {0x1.05b3b84a6efdap+3, 0x1.72f9c7f382f9ap+0},
};
constexpr Case kArcsines[] = {
    {0x1.c373ff4aad79bp-14, 0x1.c373ff594d65bp-14},
    {0x0.0000000000001p-1022, 0x0.0000000000001p-1022},
    {0x1p-27, 0x1p-27},
    {0x1p-1, 0x1.0c152382d7366p-1},
    {0x1.fffffffffffffp-2, 0x1.0c152382d7365p-1},
    {0x1.0000000000001p-1, 0x1.0c152382d7367p-1},
    {0x1.fffffffffffffp-1, 0x1.921fb50442d18p+0},
    {0x1p+0, 0x1.921fb54442d18p+0},
    {0x1.0424efbcdd676p-1, 0x1.10e18b43383a3p-1},
    {0x1.fffffffffffp-1, 0x1.921fb14442d18p+0},
    {0x1.6a09e667f3bcdp-1, 0x1.921fb54442d19p-1},
    {0x1.e3996840c3d92p-2, 0x1.f7a9c1274e3a3p-2},
};
constexpr Case kArccosines[] = {
    {0x1.53ea6c7255e88p-4, 0x1.7cdacb6bbe707p+0},
    {0x0.0000000000001p-1022, 0x1.921fb54442d18p+0},
    {-0x1p-27, 0x1.921fb56442d18p+0},
    {0x1p-1, 0x1.0c152382d7366p+0},
    {-0x1p-1, 0x1.0c152382d7366p+1},
    {0x1.0000000000001p-1, 0x1.0c152382d7365p+0},
    {0x1.fffffffffffffp-1, 0x1p-26},
    {-0x1.fffffffffffffp-1, 0x1.921fb52442d18p+1},
    {-0x1p+0, 0x1.921fb54442d18p+1},
    {0x1.fffffffffffp-1, 0x1.000000000000bp-22},
    {0x1.6a09e667f3bcdp-1, 0x1.921fb54442d18p-1},
    {0x1.e3996840c3d92p-2, 0x1.143544fa6f42fp+0},
    {-0x1.0424efbcdd676p-1, 0x1.0d483d72ef775p+1},
};
constexpr PairCase kPowers[] = {
    {0x1.fffffffffffffp-1, 0x1p+52, 0x1.368b2fc6f960ap-1},
    {0x1.fffffffffffffp-1, -0x1.62e42fefa39e8p+62, 0x1.fffffffffe48dp+1023},
    {0x1.0000000000001p+0, 0x1.62e42fefa39efp+61, 0x1.ffffffffffc64p+1023},
    {0x1p+1, -0x1.0c8p+10, 0x0.0000000000001p-1022},
    {0x1p+1, -0x1.0c6p+10, 0x0.0000000000001p-1022},
    {0x1p+1, 0x1.ffcp+9, 0x1.6a09e667f3bcdp+1023},
    {0x0.0000000000001p-1022, 0x1p-1, 0x1p-537},
    {0x0.0000000000001p-1022, -0x1p-1, 0x1p+537},
    {0x1.fffffffffffffp+1023, 0x1p+0, 0x1.fffffffffffffp+1023},
    {0x1.fffffffffffffp+1023, -0x1p+0, 0x0.4p-1022},
    {0x1.8p+0, 0x1p-1, 0x1.3988e1409212ep+0},
    {0x1.4p+3, 0x1.6p+4, 0x1.0f0cf064dd592p+73},
    {0x1.4p+3, -0x1.6p+4, 0x1.e392010175ee6p-74},
    {0x1.c38568619409p+2, -0x1.ep+3, 0x1.a5c0cba4adb5fp-43},
    {0x1.0c66c295b3258p+264, -0x1.ef66a7b9d99c7p+1, 0x0.faf531033a44bp-1022},
    {-0x1.8p+1, 0x1.8p+1, -0x1.bp+4},
    {-0x1.8p+0, -0x1.f4p+9, 0x1.06bdc6f923b3bp-585},
};
constexpr PairCase kHypotenuses[] = {
    {0x1.8p+1, 0x1p+2, 0x1.4p+2},
    {0x1.fffffffffffffp+1023, 0x1p+969, 0x1.fffffffffffffp+1023},
    {0x1p+1023, 0x1p+1023, 0x1.6a09e667f3bcdp+1023},
    {0x0.0000000000001p-1022, 0x0.0000000000001p-1022, 0x0.0000000000001p-1022},
    {0x1.04c1b180d4678p-1022, 0x0.52199898351afp-1022, 0x1.11603f6805836p-1022},
    {0x1p+0, 0x1p-27, 0x1p+0},
    {0x1p+0, 0x1.6a09e667f3bcdp-27, 0x1p+0},
    {0x1p-500, 0x1p-500, 0x1.6a09e667f3bcdp-500},
    {0x1.ff6e97820e392p-1, -0x1.f18c95ae1279p-5, 0x1.003031efe2abcp+0},
    {0x1p+510, 0x1p+0, 0x1p+510},
    {0x1p-450, 0x1p-451, 0x1.1e3779b97f4a8p-450},
    {0x1.199b6a37f1b69p+0, 0x1.199b6a37f1b69p+0, 0x1.8e40a81dd2d7dp+0},
};

}  // namespace elementary_cases
