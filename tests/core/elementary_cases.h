#pragma once

// Arguments at which elementary functions go wrong first: results close to a double or to the middle of two
// (first in each table, Lefèvre and Muller's worst cases among them), the edges of overflow, of subnormal
// results and of table ranges, neighbours of multiples of pi. The results are MPFR's, rounded to nearest.

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
    {0x1.83d4bcdebb3f4p+2, 0x1.ac50b409c8aeep+8},
    {-0x1.ed318efb627eap-27, 0x1.ffffff84b39c5p-1},
    {0x1.1d5c2daebe367p+4, 0x1.a8c02e974c315p+25},
    {-0x1.02393d5976769p+1, 0x1.1064b2c103ddbp-3},
    {0x1.273c188aa7b14p+2, 0x1.93295a96ec6ebp+6},
    {0x1.d6479eba7c971p+8, 0x1.62a88613629b6p+678},
    {0x1.005ae04256babp-1, 0x1.a65d89abf3d1fp+0},
    {0x1.7a60ee15e3e9dp+6, 0x1.62e4dc3bbf53fp+136},
    {0x1.9e9cbbfd6080bp-31, 0x1.000000033d398p+0},
    {0x1.62e42fefa39efp+9, 0x1.fffffffffff2ap+1023},
    {-0x1.6232bdd7abcd2p+9, 0x1.000000000007cp-1022},
    {-0x1.6232bdd7abcd3p+9, 0x0.ffffffffffe7cp-1022},
    {-0x1.6233cc951bb62p+9, 0x0.fde4c0358ad4bp-1022},
    {-0x1.74046dfefd9dp+9, 0x0.0000000000002p-1022},
    {-0x1.74910d52d3051p+9, 0x0.0000000000001p-1022},
    {0x1p-54, 0x1p+0},
    {0x1.62e42fefa39efp-6, 0x1.059b0d3158574p+0},
    {0x1.fe26b79c76878p-2, 0x1.a54fb2025a8abp+0},
    {-0x1.45p+9, 0x1.300ff6c7c2e28p-938},
    {0x1.44fffffffffffp+9, 0x1.af11c8c4dce35p+937},
};
constexpr Case kLogarithms[] = {
    {0x1.62a88613629b6p+678, 0x1.d6479eba7c971p+8},
    {0x1.ac50b409c8aeep+8, 0x1.83d4bcdebb3f4p+2},
    {0x1.a8c02e974c315p+25, 0x1.1d5c2daebe367p+4},
    {0x1.62e4dc3bbf53fp+136, 0x1.7a60ee15e3e9dp+6},
    {0x1.54e0f777103ddp+9, 0x1.a19442ac29b8p+2},
    {0x1.ffffff84b39c5p-1, -0x1.ed318efb627eap-27},
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
    {0x1.598bae9e632f6p-7, 0x1.598a0aea48996p-7},
    {0x1.fe767739d0f6dp-2, 0x1.e9950730c4696p-2},
    {0x1.b951f1572eba5p+23, -0x1p+0},
    {0x1.0fd9b37b7d46fp+1, 0x1.b3ada9390f0b6p-1},
    {0x1.6ac5b262ca1ffp+849, 0x1p+0},
    {0x1.e0000000001c2p-20, 0x1.dfffffffff02ep-20},
    {0x1.921fb54442d18p+0, 0x1p+0},
    {0x1.921fb54442d18p+1, 0x1.1a62633145c07p-53},
    {0x1.fffffffffffffp+1023, 0x1.452fc98b34e97p-8},
    {0x1.95e426e0636aep-3, 0x1.933d40e0ccc5fp-3},
    {0x1.8ea63ea19094ap+16, 0x1.87de2a6b450bcp-2},
    {0x1p+17, -0x1.ff8bd7b10d6bp-1},
    {0x1.fffffffffffffp+16, -0x1.ff8bd7b10ec3dp-1},
    {0x1.6ac5b262ca1ffp+850, -0x1.14ae72e6ba22fp-60},
    {0x1p-26, 0x1p-26},
    {0x1.8000000000009p-23, 0x1.7ffffffffffe5p-23},
};
constexpr Case kCosines[] = {
    {0x1.06b505550e6b2p-9, 0x1.ffffbc9a3fbfep-1},
    {0x1.34ec2f9fc9cp+1, -0x1.7e2a5c30e1d6dp-1},
    {0x1.91e006d41d8d9p+0, 0x1.fd737be914578p-11},
    {0x1.1b6244ee509cep+0, 0x1.ca1cae12a5245p-2},
    {0x1.6ac5b262ca1ffp+849, -0x1.14ae72e6ba22fp-61},
    {0x1.e0000000001c2p-20, 0x1.fffffffffc7cp-1},
    {0x1.921fb54442d18p+0, 0x1.1a62633145c07p-54},
    {0x1.921fb54442d18p+1, -0x1p+0},
    {0x1.fffffffffffffp+1023, -0x1.fffe62ecfab75p-1},
    {0x1.95e426e0636aep-3, 0x1.f5fa3b7d7342cp-1},
    {0x1.8ea63ea19094ap+16, -0x1.d906bcf316185p-1},
    {0x1p+17, 0x1.58ced65ec8b5p-5},
    {0x1.fffffffffffffp+16, 0x1.58ced65cc9293p-5},
    {0x1.6ac5b262ca1ffp+850, -0x1p+0},
    {0x1p-26, 0x1.fffffffffffffp-1},
    {0x1.8000000000009p-23, 0x1.fffffffffff7p-1},
};
constexpr Case kArctangents[] = {
    {0x1.6298b5896ed3cp+1, 0x1.3970e827504c7p+0},
    {0x1.22e8d75e2bc7fp-11, 0x1.22e8d5694ad2cp-11},
    {0x1.00e4fe47a29adp+4, 0x1.82333c62dd2b1p+0},
    {0x1.1efc523ddfd5fp+4, 0x1.83ddba92c2a35p+0},
    {0x0.0000000000001p-1022, 0x0.0000000000001p-1022},
    {0x1p-30, 0x1p-30},
    {0x1.28p-4, 0x1.277c80c02ec4dp-4},
    {0x1.28p-3, 0x1.25f6e171a535cp-3},
    {0x1.878c18da60238p+0, 0x1.fbc5bab2ec4dep-1},
    {0x1p+0, 0x1.921fb54442d18p-1},
    {0x1.fffffffffffffp-1, 0x1.921fb54442d18p-1},
    {0x1.0000000000001p+0, 0x1.921fb54442d19p-1},
    {0x1p+100, 0x1.921fb54442d18p+0},
    {0x1.fffffffffffffp+1023, 0x1.921fb54442d18p+0},
    {0x1.05b3b84a6efdap+3, 0x1.72f9c7f382f9ap+0},
};
constexpr Case kArcsines[] = {
    {0x1.dfffffffff02ep-20, 0x1.e0000000001c2p-20},
    {0x1.e9950730c4696p-2, 0x1.fe767739d0f6dp-2},
    {0x1.2b00cd5ffbc48p-1, 0x1.3f4d347657238p-1},
    {0x1.8cc7198991648p-2, 0x1.9771ace245fbdp-2},
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
    {0x1.e3996840c3d92p-2, 0x1.f7a9c1274e3a3p-2},
};
constexpr Case kArccosines[] = {
    {0x1.fd737be914578p-11, 0x1.91e006d41d8d9p+0},
    {-0x1.124411a0ec32ep-5, 0x1.9ab23ecdd436bp+0},
    {0x1.ffffbc9a3fbfep-1, 0x1.06b505550e6b2p-9},
    {0x1.b1486c925647cp-3, 0x1.5b8d15365464dp+0},
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
    {0x1.e3996840c3d92p-2, 0x1.143544fa6f42fp+0},
    {-0x1.0424efbcdd676p-1, 0x1.0d483d72ef775p+1},
};
constexpr PairCase kPowers[] = {
    {0x1.ffffffcp+26, 0x1p+1, 0x1.ffffff8p+53},
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
