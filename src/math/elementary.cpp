// Correctly rounded exp, 10^x, log and log10 for float. Each reduces its argument with a
// small table, evaluates a short polynomial in binary64 with the leading terms kept as
// exact two-double sums, and rounds the result (a double pair within about 2^-70 of the
// exact value) once to float.
#include "math/fp_rules.h"

#include "math/elementary.h"

#include <bit>
#include <cstdint>
#include <limits>

#include "math/two_double.h"

namespace vorn::elementary {
namespace {

constexpr float kInfinity = std::numeric_limits<float>::infinity();
constexpr float kNaN = std::numeric_limits<float>::quiet_NaN();

// 2^(j/64) as hi + lo.
constexpr TwoDouble kExp2Table[64] = {
    {0x1.0000000000000p+0, 0x0.0p+0},
    {0x1.02c9a3e778061p+0, -0x1.19083535b085dp-56},
    {0x1.059b0d3158574p+0, 0x1.d73e2a475b465p-55},
    {0x1.0874518759bc8p+0, 0x1.186be4bb284ffp-57},
    {0x1.0b5586cf9890fp+0, 0x1.8a62e4adc610bp-54},
    {0x1.0e3ec32d3d1a2p+0, 0x1.03a1727c57b53p-59},
    {0x1.11301d0125b51p+0, -0x1.6c51039449b3ap-54},
    {0x1.1429aaea92de0p+0, -0x1.32fbf9af1369ep-54},
    {0x1.172b83c7d517bp+0, -0x1.19041b9d78a76p-55},
    {0x1.1a35beb6fcb75p+0, 0x1.e5b4c7b4968e4p-55},
    {0x1.1d4873168b9aap+0, 0x1.e016e00a2643cp-54},
    {0x1.2063b88628cd6p+0, 0x1.dc775814a8495p-55},
    {0x1.2387a6e756238p+0, 0x1.9b07eb6c70573p-54},
    {0x1.26b4565e27cddp+0, 0x1.2bd339940e9d9p-55},
    {0x1.29e9df51fdee1p+0, 0x1.612e8afad1255p-55},
    {0x1.2d285a6e4030bp+0, 0x1.0024754db41d5p-54},
    {0x1.306fe0a31b715p+0, 0x1.6f46ad23182e4p-55},
    {0x1.33c08b26416ffp+0, 0x1.32721843659a6p-54},
    {0x1.371a7373aa9cbp+0, -0x1.63aeabf42eae2p-54},
    {0x1.3a7db34e59ff7p+0, -0x1.5e436d661f5e3p-56},
    {0x1.3dea64c123422p+0, 0x1.ada0911f09ebcp-55},
    {0x1.4160a21f72e2ap+0, -0x1.ef3691c309278p-58},
    {0x1.44e086061892dp+0, 0x1.89b7a04ef80d0p-59},
    {0x1.486a2b5c13cd0p+0, 0x1.3c1a3b69062f0p-56},
    {0x1.4bfdad5362a27p+0, 0x1.d4397afec42e2p-56},
    {0x1.4f9b2769d2ca7p+0, -0x1.4b309d25957e3p-54},
    {0x1.5342b569d4f82p+0, -0x1.07abe1db13cadp-55},
    {0x1.56f4736b527dap+0, 0x1.9bb2c011d93adp-54},
    {0x1.5ab07dd485429p+0, 0x1.6324c054647adp-54},
    {0x1.5e76f15ad2148p+0, 0x1.ba6f93080e65ep-54},
    {0x1.6247eb03a5585p+0, -0x1.383c17e40b497p-54},
    {0x1.6623882552225p+0, -0x1.bb60987591c34p-54},
    {0x1.6a09e667f3bcdp+0, -0x1.bdd3413b26456p-54},
    {0x1.6dfb23c651a2fp+0, -0x1.bbe3a683c88abp-57},
    {0x1.71f75e8ec5f74p+0, -0x1.16e4786887a99p-55},
    {0x1.75feb564267c9p+0, -0x1.0245957316dd3p-54},
    {0x1.7a11473eb0187p+0, -0x1.41577ee04992fp-55},
    {0x1.7e2f336cf4e62p+0, 0x1.05d02ba15797ep-56},
    {0x1.82589994cce13p+0, -0x1.d4c1dd41532d8p-54},
    {0x1.868d99b4492edp+0, -0x1.fc6f89bd4f6bap-54},
    {0x1.8ace5422aa0dbp+0, 0x1.6e9f156864b27p-54},
    {0x1.8f1ae99157736p+0, 0x1.5cc13a2e3976cp-55},
    {0x1.93737b0cdc5e5p+0, -0x1.75fc781b57ebcp-57},
    {0x1.97d829fde4e50p+0, -0x1.d185b7c1b85d1p-54},
    {0x1.9c49182a3f090p+0, 0x1.c7c46b071f2bep-56},
    {0x1.a0c667b5de565p+0, -0x1.359495d1cd533p-54},
    {0x1.a5503b23e255dp+0, -0x1.d2f6edb8d41e1p-54},
    {0x1.a9e6b5579fdbfp+0, 0x1.0fac90ef7fd31p-54},
    {0x1.ae89f995ad3adp+0, 0x1.7a1cd345dcc81p-54},
    {0x1.b33a2b84f15fbp+0, -0x1.2805e3084d708p-57},
    {0x1.b7f76f2fb5e47p+0, -0x1.5584f7e54ac3bp-56},
    {0x1.bcc1e904bc1d2p+0, 0x1.23dd07a2d9e84p-55},
    {0x1.c199bdd85529cp+0, 0x1.11065895048ddp-55},
    {0x1.c67f12e57d14bp+0, 0x1.2884dff483cadp-54},
    {0x1.cb720dcef9069p+0, 0x1.503cbd1e949dbp-56},
    {0x1.d072d4a07897cp+0, -0x1.cbc3743797a9cp-54},
    {0x1.d5818dcfba487p+0, 0x1.2ed02d75b3707p-55},
    {0x1.da9e603db3285p+0, 0x1.c2300696db532p-54},
    {0x1.dfc97337b9b5fp+0, -0x1.1a5cd4f184b5cp-54},
    {0x1.e502ee78b3ff6p+0, 0x1.39e8980a9cc8fp-55},
    {0x1.ea4afa2a490dap+0, -0x1.e9c23179c2893p-54},
    {0x1.efa1bee615a27p+0, 0x1.dc7f486a4b6b0p-54},
    {0x1.f50765b6e4540p+0, 0x1.9d3e12dd8a18bp-54},
    {0x1.fa7c1819e90d8p+0, 0x1.74853f3a5931ep-55},
};

// For m in [1 + i/128, 1 + (i + 1)/128): an inverse of about 1/m with 10 significant bits,
// so that m * inverse is exact, and -ln(inverse) as hi + lo. From i = 53 on (m >= sqrt 2)
// the entries hold -ln(2 * inverse) and the exponent counts one more, so that arguments
// just below 1 keep their small logarithm free of cancellation; the first and last
// entries are exact (inverse 1 and 1/2) for the same reason.
struct LogEntry {
    double inverse;
    TwoDouble minusLog;
};
constexpr LogEntry kLogTable[128] = {
    {0x1.0000000000000p+0, 0x0.0p+0, 0x0.0p+0},
    {0x1.fa00000000000p-1, 0x1.82448a388a2aap-7, 0x1.04b16137f09a0p-62},
    {0x1.f600000000000p-1, 0x1.432a925980cc1p-6, -0x1.8cdaf39004192p-60},
    {0x1.f280000000000p-1, 0x1.b5cc258b718e6p-6, 0x1.1b8afbfe81965p-62},
    {0x1.ee80000000000p-1, 0x1.1ce5a62bc353ap-5, -0x1.c39390333b61cp-59},
    {0x1.eb00000000000p-1, 0x1.5715c4c03ceefp-5, -0x1.bbf88ec501b56p-61},
    {0x1.e780000000000p-1, 0x1.91b073efd7314p-5, 0x1.d60449ab527bfp-61},
    {0x1.e380000000000p-1, 0x1.d52ed6405d86fp-5, 0x1.16aeb2214c8c0p-59},
    {0x1.e000000000000p-1, 0x1.08598b59e3a07p-4, -0x1.dd7009902bf32p-58},
    {0x1.dc80000000000p-1, 0x1.26536c3d8c369p-4, 0x1.d604be2dd16f0p-58},
    {0x1.d900000000000p-1, 0x1.4485e03dbdfadp-4, 0x1.1ba349aadbc6ep-58},
    {0x1.d600000000000p-1, 0x1.5e95a4d9791cbp-4, 0x1.f38745c5c450ap-58},
    {0x1.d280000000000p-1, 0x1.7d33687c293c9p-4, -0x1.cf063e63e7075p-58},
    {0x1.cf00000000000p-1, 0x1.9c0c32d4d2548p-4, 0x1.fb0be3ccc1532p-59},
    {0x1.cc00000000000p-1, 0x1.b6ac88dad5b1cp-4, -0x1.0057eed1ca59fp-59},
    {0x1.c880000000000p-1, 0x1.d5f55659210e2p-4, 0x1.ce60c2a34a8fbp-59},
    {0x1.c580000000000p-1, 0x1.f0f70cdd992e3p-4, 0x1.f6c272c1dca71p-60},
    {0x1.c280000000000p-1, 0x1.06135354d4b18p-3, 0x1.18a0d03ba5397p-58},
    {0x1.bf80000000000p-1, 0x1.13c2605c398c3p-3, -0x1.fdd94f6508b88p-57},
    {0x1.bc80000000000p-1, 0x1.2188fd9807263p-3, -0x1.e7f50c701268fp-60},
    {0x1.b980000000000p-1, 0x1.2f677cbbc0a96p-3, -0x1.9fbd3e17e5527p-57},
    {0x1.b680000000000p-1, 0x1.3d5e3126bc27fp-3, 0x1.97c284b6258aap-57},
    {0x1.b380000000000p-1, 0x1.4b6d6fefe22a4p-3, 0x1.767ab73ca8d5ep-57},
    {0x1.b080000000000p-1, 0x1.59958ff1d52f1p-3, 0x1.f4d12c6bf5a87p-57},
    {0x1.ad80000000000p-1, 0x1.67d6e9d785771p-3, -0x1.10614e0da5fb8p-57},
    {0x1.ab00000000000p-1, 0x1.73cb9074fd14dp-3, -0x1.521a000b4cf01p-57},
    {0x1.a800000000000p-1, 0x1.823c16551a3c2p-3, -0x1.1232ce70be781p-57},
    {0x1.a580000000000p-1, 0x1.8e588ebac2dbfp-3, -0x1.46a9a5dd7ff12p-57},
    {0x1.a300000000000p-1, 0x1.9a8778debaa38p-3, 0x1.f47dfd871f87fp-57},
    {0x1.a000000000000p-1, 0x1.a93ed3c8ad9e3p-3, 0x1.bcafa9de97203p-57},
    {0x1.9d80000000000p-1, 0x1.b5971a213acdbp-3, -0x1.e2f8aadc42f8fp-57},
    {0x1.9b00000000000p-1, 0x1.c2028ab17f9b4p-3, 0x1.f11aa3853a5f1p-57},
    {0x1.9880000000000p-1, 0x1.ce816157f1988p-3, -0x1.5744132a297b0p-58},
    {0x1.9600000000000p-1, 0x1.db13db0d48940p-3, 0x1.aa11d49f96cb9p-58},
    {0x1.9380000000000p-1, 0x1.e7ba35eb77e2ap-3, 0x1.11dc86c9b7564p-59},
    {0x1.9100000000000p-1, 0x1.f474b134df229p-3, -0x1.27c77ded76aadp-58},
    {0x1.8e80000000000p-1, 0x1.00a1c6adda473p-2, 0x1.8d688b9e17a8ap-56},
    {0x1.8c00000000000p-1, 0x1.07138604d5862p-2, 0x1.cdb16ed4e9138p-56},
    {0x1.8980000000000p-1, 0x1.0d8fb813eb1efp-2, -0x1.cdde2b0172bd5p-56},
    {0x1.8780000000000p-1, 0x1.12c77cd00713bp-2, 0x1.4a4508fbcba26p-57},
    {0x1.8500000000000p-1, 0x1.1956d3b9bc2fap-2, 0x1.7b9d68d50a15dp-56},
    {0x1.8280000000000p-1, 0x1.1ff0fe7cf47a7p-2, 0x1.5b513ff0c1450p-56},
    {0x1.8080000000000p-1, 0x1.25410494e56c7p-2, 0x1.7ac0ef77f252ap-56},
    {0x1.7e00000000000p-1, 0x1.2bef07cdc9354p-2, -0x1.82dad7fd86088p-56},
    {0x1.7c00000000000p-1, 0x1.314f1e1d35ce4p-2, -0x1.3d69909e5c3dcp-56},
    {0x1.7980000000000p-1, 0x1.3811728564cb2p-2, -0x1.e493a0702b236p-57},
    {0x1.7780000000000p-1, 0x1.3d81fb5946dbap-2, 0x1.c1eab1642e36dp-56},
    {0x1.7580000000000p-1, 0x1.42f9f3ff62642p-2, -0x1.bbf082ccabbaep-56},
    {0x1.7380000000000p-1, 0x1.487970e958770p-2, 0x1.b8465cf25f4c6p-56},
    {0x1.7100000000000p-1, 0x1.4f637ebba9810p-2, -0x1.58cb3124b9245p-56},
    {0x1.6f00000000000p-1, 0x1.54f431b7be1a9p-2, -0x1.aacfdbbdab914p-56},
    {0x1.6d00000000000p-1, 0x1.5a8cadbbedfa1p-2, -0x1.e6c2bdfb3e037p-58},
    {0x1.6b00000000000p-1, 0x1.602d08af091ecp-2, -0x1.6e8920c09b73fp-58},
    {0x1.6900000000000p-1, -0x1.5ff3070a793d4p-2, 0x1.bc60efafc6f6ep-57},
    {0x1.6700000000000p-1, -0x1.5a42ab0f4cfe2p-2, 0x1.8ebcb7dee9a3dp-56},
    {0x1.6500000000000p-1, -0x1.548a2c3add263p-2, 0x1.819cf7e308ddbp-57},
    {0x1.6300000000000p-1, -0x1.4ec973260026ap-2, 0x1.42a87d977dc5ep-56},
    {0x1.6180000000000p-1, -0x1.4a7373cecf997p-2, -0x1.cb140cabb6bdbp-56},
    {0x1.5f80000000000p-1, -0x1.44a41b463c47cp-2, 0x1.d70c8309edcfcp-56},
    {0x1.5d80000000000p-1, -0x1.3ecc460ef5f50p-2, 0x1.4313e09807affp-58},
    {0x1.5b80000000000p-1, -0x1.38ebdb38ed321p-2, 0x1.3e8cc159afd10p-56},
    {0x1.5a00000000000p-1, -0x1.347dd9a987d55p-2, 0x1.4dd4c580919f8p-57},
    {0x1.5800000000000p-1, -0x1.2e8e2bae11d31p-2, 0x1.8f4cdb95ebdf9p-56},
    {0x1.5600000000000p-1, -0x1.2895a13de86a3p-2, -0x1.7ad24c13f040ep-56},
    {0x1.5480000000000p-1, -0x1.241558bfd1404p-2, 0x1.9bae06a5c872dp-65},
    {0x1.5280000000000p-1, -0x1.1e0d0c33716bep-2, -0x1.e55361a93fe61p-57},
    {0x1.5100000000000p-1, -0x1.1980d2dd4236fp-2, -0x1.9d3d1b0e4d147p-56},
    {0x1.4f00000000000p-1, -0x1.136870293a8b0p-2, -0x1.7b66298edd24ap-56},
    {0x1.4d80000000000p-1, -0x1.0ed005f657da4p-2, -0x1.c56bd2abfe82ap-56},
    {0x1.4c00000000000p-1, -0x1.0a324e27390e3p-2, -0x1.7dcfde8061c03p-56},
    {0x1.4a00000000000p-1, -0x1.0402594b4d041p-2, 0x1.28ec217a5022dp-57},
    {0x1.4880000000000p-1, -0x1.feb0233e607ccp-3, -0x1.6e32d5e8c707fp-57},
    {0x1.4700000000000p-1, -0x1.f550a564b7b37p-3, -0x1.c5f6dfd018c37p-61},
    {0x1.4500000000000p-1, -0x1.e8c0252aa5a60p-3, 0x1.6e03a39bfc89bp-59},
    {0x1.4380000000000p-1, -0x1.df46c0c722d2fp-3, -0x1.05616f20722e7p-57},
    {0x1.4200000000000p-1, -0x1.d5c216b4fbb91p-3, -0x1.6e443597e4d40p-57},
    {0x1.4080000000000p-1, -0x1.cc320c0176502p-3, -0x1.039a653793a85p-57},
    {0x1.3f00000000000p-1, -0x1.c2968558c18c1p-3, 0x1.73dee38a3fb6bp-57},
    {0x1.3d80000000000p-1, -0x1.b8ef670420c3bp-3, 0x1.999bd0ee3fe88p-57},
    {0x1.3c00000000000p-1, -0x1.af3c94e80bff3p-3, 0x1.398cff3641985p-58},
    {0x1.3a80000000000p-1, -0x1.a57df28244dcdp-3, 0x1.b9af132a24e39p-59},
    {0x1.3900000000000p-1, -0x1.9bb362e7dfb83p-3, -0x1.575e31f003e0cp-57},
    {0x1.3780000000000p-1, -0x1.91dcc8c340bdep-3, -0x1.aaf77bfd17182p-58},
    {0x1.3600000000000p-1, -0x1.87fa06520c911p-3, 0x1.bf7fdbfa08d9ap-57},
    {0x1.3480000000000p-1, -0x1.7e0afd630c274p-3, 0x1.83e270efcc373p-58},
    {0x1.3300000000000p-1, -0x1.740f8f54037a5p-3, 0x1.b264062a84cdbp-58},
    {0x1.3180000000000p-1, -0x1.6a079d0f7aad2p-3, 0x1.eedcbac2a7f18p-62},
    {0x1.3000000000000p-1, -0x1.5ff3070a793d4p-3, 0x1.bc60efafc6f6ep-58},
    {0x1.2e80000000000p-1, -0x1.55d1ad4232d6fp-3, 0x1.ac8966e060839p-58},
    {0x1.2d80000000000p-1, -0x1.4f099f4a230b2p-3, -0x1.a0a02a1b24794p-61},
    {0x1.2c00000000000p-1, -0x1.44d2b6ccb7d1ep-3, -0x1.9f4f6543e1f88p-57},
    {0x1.2a80000000000p-1, -0x1.3a8eb2d31a376p-3, 0x1.220a8abf098f4p-60},
    {0x1.2900000000000p-1, -0x1.303d718e47fd3p-3, 0x1.6b9c7d96091fap-63},
    {0x1.2800000000000p-1, -0x1.29552f81ff523p-3, -0x1.301771c407dbfp-57},
    {0x1.2680000000000p-1, -0x1.1eed90e2dc2c3p-3, 0x1.4e47b44db8540p-57},
    {0x1.2500000000000p-1, -0x1.14785846742acp-3, -0x1.a28813e3a7f07p-57},
    {0x1.2400000000000p-1, -0x1.0d77e7cd08e59p-3, -0x1.9a5dc5e9030acp-57},
    {0x1.2280000000000p-1, -0x1.02ebb42bf3d4bp-3, 0x1.f4b9c01cb92c6p-59},
    {0x1.2180000000000p-1, -0x1.f7b79fec37ddfp-4, 0x1.87e897ed01783p-59},
    {0x1.2000000000000p-1, -0x1.e27076e2af2e6p-4, 0x1.61578001e0162p-60},
    {0x1.1f00000000000p-1, -0x1.d4313d66cb35dp-4, -0x1.790dd951d90fap-58},
    {0x1.1d80000000000p-1, -0x1.beba818146765p-4, 0x1.e2db7c7d5a130p-58},
    {0x1.1c80000000000p-1, -0x1.b05b49bee43fep-4, -0x1.160c7c252f298p-58},
    {0x1.1b00000000000p-1, -0x1.9ab42462033adp-4, 0x1.2099e1c184e8ep-59},
    {0x1.1a00000000000p-1, -0x1.8c345d6319b21p-4, 0x1.4a697ab3424a9p-61},
    {0x1.1880000000000p-1, -0x1.765bf23a6be13p-4, -0x1.0ff28ef6a592fp-58},
    {0x1.1780000000000p-1, -0x1.67bb0726ec0fcp-4, 0x1.b692c214ddbecp-58},
    {0x1.1680000000000p-1, -0x1.590cafdf01c28p-4, -0x1.3d5c8aaea76d2p-58},
    {0x1.1500000000000p-1, -0x1.42edcbea646f0p-4, -0x1.ddd4f935996c9p-59},
    {0x1.1400000000000p-1, -0x1.341d7961bd1d1p-4, 0x1.b599f227becbbp-58},
    {0x1.1300000000000p-1, -0x1.253f62f0a1417p-4, 0x1.c125963fc4cfdp-62},
    {0x1.1180000000000p-1, -0x1.0ed839b5526fep-4, -0x1.7256ea8988a68p-61},
    {0x1.1080000000000p-1, -0x1.ffae9119b9303p-5, -0x1.ba13162a9c446p-60},
    {0x1.0f80000000000p-1, -0x1.e19070c276016p-5, 0x1.19918a7a17dc1p-59},
    {0x1.0e80000000000p-1, -0x1.c355dd0921f2dp-5, 0x1.9b2a03e3be3a7p-60},
    {0x1.0d00000000000p-1, -0x1.95c830ec8e3ebp-5, -0x1.f5a0e80520bf2p-59},
    {0x1.0c00000000000p-1, -0x1.77458f632dcfcp-5, -0x1.18d3ca87b9296p-59},
    {0x1.0b00000000000p-1, -0x1.58a5bafc8e4d5p-5, 0x1.ce55c2b4e2b72p-59},
    {0x1.0a00000000000p-1, -0x1.39e87b9febd60p-5, 0x1.5bfa937f551bbp-59},
    {0x1.0900000000000p-1, -0x1.1b0d98923d980p-5, 0x1.e9ae889bac481p-60},
    {0x1.0780000000000p-1, -0x1.d91a66c543cc4p-6, 0x1.d34e608cbdaabp-62},
    {0x1.0680000000000p-1, -0x1.9ace7551cc514p-6, -0x1.3409c1df8167fp-60},
    {0x1.0580000000000p-1, -0x1.5c45a51b8d389p-6, 0x1.b10b6c3ec21b4p-60},
    {0x1.0480000000000p-1, -0x1.1d7f7eb9eebe7p-6, 0x1.d41fe63d2dbf9p-61},
    {0x1.0380000000000p-1, -0x1.bcf712c74384cp-7, 0x1.f6842688f499ap-62},
    {0x1.0280000000000p-1, -0x1.3e7295d25a7d9p-7, 0x1.ff29a11443a06p-65},
    {0x1.0180000000000p-1, -0x1.7ee11ebd82e94p-8, 0x1.61e96e2fc5d90p-62},
    {0x1.0000000000000p-1, 0x0.0p+0, 0x0.0p+0},
};

constexpr double kLn2Over64High = 0x1.62e42fefa0000p-7;  // 37 bits: k * high is exact
constexpr double kLn2Over64Low = 0x1.cf79abc9e3b3ap-46;
constexpr double k64OverLn2 = 0x1.71547652b82fep+6;
constexpr double kLn2High = 0x1.62e42fefa4000p-1;  // 41 bits: e * high is exact
constexpr double kLn2Low = -0x1.8432a1b0e2634p-43;
// sin(k/64) and cos(k/64) as hi + lo, k = 0..51 (51/64 > pi/4).
struct SinCos {
    TwoDouble sin, cos;
};
constexpr SinCos kSinCosTable[52] = {
    {{0x0.0p+0, 0x0.0p+0}, {0x1.0000000000000p+0, 0x0.0p+0}},
    {{0x1.fffaaaaeeeed5p-7, -0x1.2ab639a9f0776p-63}, {0x1.fff000155549fp-1, 0x1.28a28a03a5ef3p-55}},
    {{0x1.ffeaaaeeee86fp-6, -0x1.cd406fb224ae2p-60},
     {0x1.ffc00155527d3p-1, -0x1.3b54492d89b5bp-55}},
    {{0x1.7fdc01032fba9p-5, -0x1.599bdf46e997ap-59},
     {0x1.ff7006bfdf99fp-1, -0x1.8b3b560648d5fp-56}},
    {{0x1.ffaaaeeed4edbp-5, -0x1.2d16d32684b69p-59}, {0x1.ff0015549f4d3p-1, 0x1.328387b99426fp-55}},
    {{0x1.3facb12d1755bp-4, -0x1.921915299468bp-58},
     {0x1.fe7034129ef6fp-1, -0x1.cbf4337c96f97p-57}},
    {{0x1.7f701032550e4p-4, 0x1.afc2d1800501ap-60}, {0x1.fdc06bf7e6b9bp-1, 0x1.31902b535f8dbp-55}},
    {{0x1.bf1b78568391dp-4, 0x1.e91841dea4cc8p-58}, {0x1.fcf0c800e99b1p-1, 0x1.ea3d786d186acp-57}},
    {{0x1.feaaeee86ee36p-4, -0x1.afcb2bcc6f03bp-59}, {0x1.fc015527d5bd3p-1, 0x1.b68f35094efb8p-55}},
    {{0x1.1f0d3d7afceafp-3, -0x1.6ef95099769a5p-57},
     {0x1.faf22263c4bd3p-1, -0x1.52ace133a2769p-58}},
    {{0x1.3eb312c5d66cbp-3, 0x1.47d666b66cb91p-57}, {0x1.f9c340a7cc428p-1, 0x1.c5b6b063b7462p-55}},
    {{0x1.5e44fcfa126f3p-3, -0x1.6f443063f89b6p-57},
     {0x1.f874c2e1eecf6p-1, -0x1.c6514e1332b16p-55}},
    {{0x1.7dc102fbaf2b5p-3, 0x1.5ab50e23c97c3p-59}, {0x1.f706bdf9ece1cp-1, -0x1.698c80c36dcb4p-55}},
    {{0x1.9d252d0cec312p-3, 0x1.9c43d80b1137dp-58}, {0x1.f57948cff6797p-1, 0x1.e3a0d3e03b1d4p-57}},
    {{0x1.bc6f84edc6199p-3, 0x1.9c1a56a7b0cabp-57}, {0x1.f3cc7c3b3d16ep-1, -0x1.21a3ad28a3494p-57}},
    {{0x1.db9e15fb5a5d0p-3, -0x1.32e20d6cc6fc2p-57}, {0x1.f20073086649fp-1, 0x1.b940416c1984bp-56}},
    {{0x1.faaeed4f31577p-3, -0x1.15d88508e32b8p-57}, {0x1.f01549f7deea1p-1, 0x1.d3c1e99e5cafdp-55}},
    {{0x1.0cd00cef36436p-2, -0x1.9fb0a0c93e2b4p-56},
     {0x1.ee0b1fbc0f11cp-1, -0x1.bfd2380bbc3b1p-59}},
    {{0x1.1c37d64c6b876p-2, 0x1.46076fe0dcff4p-56}, {0x1.ebe214f76efa8p-1, -0x1.02f9f12ba543ep-55}},
    {{0x1.2b8ddc43eb49fp-2, 0x1.1553899f2d807p-57}, {0x1.e99a4c3a7cd83p-1, -0x1.2264b1bc53ce8p-55}},
    {{0x1.3ad129769d3d8p-2, 0x1.03d550487839ap-63}, {0x1.e733ea0193d40p-1, -0x1.6428b3546ce13p-55}},
    {{0x1.4a00c9b0f3d20p-2, 0x1.823ba6bb08eadp-56}, {0x1.e4af14b2a449cp-1, -0x1.68ca02e8a6833p-55}},
    {{0x1.591bc9fa2f597p-2, 0x1.7c74bac3fe0cbp-57}, {0x1.e20bf49acd6c1p-1, -0x1.660aec7ef636bp-58}},
    {{0x1.682138a38d7f7p-2, -0x1.d889202444aadp-56},
     {0x1.df4ab3ebd875ep-1, -0x1.e2d8a7e6736c4p-55}},
    {{0x1.7710255764214p-2, -0x1.6ead7314bb6cep-57}, {0x1.dc6b7eb995912p-1, 0x1.4b364776dcd35p-58}},
    {{0x1.85e7a12826949p-2, 0x1.8a40e9b5face0p-56}, {0x1.d96e82f71a9dcp-1, 0x1.ff61bd5d2039dp-55}},
    {{0x1.94a6be9f546c5p-2, -0x1.69ce13e683f58p-56},
     {0x1.d653f073e4040p-1, -0x1.76236434bec37p-55}},
    {{0x1.a34c91cc50ccap-2, -0x1.a310e3b50cecdp-58}, {0x1.d31bf8d8d7c06p-1, 0x1.e60dd3089cbddp-56}},
    {{0x1.b1d8305321617p-2, -0x1.ae242cb99f519p-56}, {0x1.cfc6cfa52ad9fp-1, 0x1.8b5b5508f2a0dp-55}},
    {{0x1.c048b17b140a3p-2, 0x1.19fe6757e9fa7p-57}, {0x1.cc54aa2b2972ep-1, 0x1.4ee162ba83a98p-57}},
    {{0x1.ce9d2e3d4a51fp-2, -0x1.2fc8a12dae298p-57}, {0x1.c8c5bf8ce1a84p-1, 0x1.ab3d1a1590123p-56}},
    {{0x1.dcd4c15329c9ap-2, 0x1.0d4c6e171fd9ap-56}, {0x1.c51a48b8b175ep-1, -0x1.1bbb43b9aa880p-57}},
    {{0x1.eaee8744b05f0p-2, -0x1.789b43c9b027dp-58},
     {0x1.c1528065b7d50p-1, -0x1.892111312e828p-55}},
    {{0x1.f8e99e76abc97p-2, 0x1.9d950af2d00a3p-58}, {0x1.bd6ea310294f5p-1, 0x1.31bbcc88c109dp-56}},
    {{0x1.0362939c69955p-1, -0x1.2d8cd78397b01p-55}, {0x1.b96eeef58840ep-1, 0x1.45a3cc78fade0p-58}},
    {{0x1.0a4021e9e1001p-1, -0x1.6f643a13914f6p-55}, {0x1.b553a410c104ep-1, 0x1.8ff7947027a15p-58}},
    {{0x1.110d0c4b69c3bp-1, 0x1.d918998809981p-55}, {0x1.b11d04162a4c6p-1, 0x1.1dd561efbc0c2p-56}},
    {{0x1.17c8e5f2eedb0p-1, 0x1.35e57102e2488p-57}, {0x1.accb526f69de5p-1, 0x1.8fb6a8dd6b6ccp-55}},
    {{0x1.1e7343236574cp-1, 0x1.22a3fa4f41d5ap-56}, {0x1.a85ed4373e02dp-1, 0x1.9be06385ec792p-57}},
    {{0x1.250bb93788bbbp-1, 0x1.ea3d02457bccep-56}, {0x1.a3d7d0352bdcfp-1, -0x1.68dbaeca19669p-55}},
    {{0x1.2b91dea88421ep-1, -0x1.fa371db216ab0p-55},
     {0x1.9f368ed912f85p-1, -0x1.1d200c5791606p-55}},
    {{0x1.32054b148bc4fp-1, 0x1.f6b42095a135bp-55}, {0x1.9a7b5a36a6514p-1, 0x1.722cfcc9fa7a9p-55}},
    {{0x1.386597456282bp-1, -0x1.10fada93b07a8p-56},
     {0x1.95a67e00cb1fdp-1, -0x1.0befda21f862dp-55}},
    {{0x1.3eb25d36cd53ap-1, -0x1.be570e1570fc0p-58},
     {0x1.90b84784ddaf7p-1, -0x1.0feb10ab93b87p-56}},
    {{0x1.44eb381cf386bp-1, -0x1.3ed6c1e6a5505p-55}, {0x1.8bb105a5dc900p-1, 0x1.863e03e9474c1p-55}},
    {{0x1.4b0fc46aab761p-1, 0x1.0da05738cc59cp-61}, {0x1.869108d77a6c6p-1, 0x1.338ffe2bfe9ddp-56}},
    {{0x1.511f9fd7b351cp-1, -0x1.5c0e861c48831p-55},
     {0x1.8158a31916d5dp-1, -0x1.de8b90b8228dep-57}},
    {{0x1.571a6966d59b3p-1, 0x1.c843b4d0fb197p-58}, {0x1.7c0827f09e54fp-1, -0x1.c73d6d72aee68p-57}},
    {{0x1.5cffc16bf8f0dp-1, 0x1.96cb370eb578ap-55}, {0x1.769fec655211fp-1, -0x1.827d5cf8c68c5p-57}},
    {{0x1.62cf49921ac79p-1, -0x1.edd9855b6241ap-55}, {0x1.712046fa77678p-1, 0x1.425b0a5029c81p-55}},
    {{0x1.6888a4e134b2fp-1, -0x1.6b7d37644d5e6p-55}, {0x1.6b898fa9efb5dp-1, 0x1.15ac786ccf4b2p-56}},
    {{0x1.6e2b77c40bde1p-1, -0x1.0e729857fad53p-56},
     {0x1.65dc1fdeb8cbap-1, -0x1.97c1b47337c77p-58}},
};
constexpr TwoDouble kHalfPi = {0x1.921fb54442d18p+0, 0x1.1a62633145c07p-54};
// The first 320 bits of 2/pi, most significant first: enough for any float's quadrant
// and 130 bits of its remainder.
constexpr uint32_t kTwoOverPi[10] = {0xA2F9836E, 0x4E441529, 0xFC2757D1, 0xF534DDC0, 0xDB629599,
                                     0x3C439041, 0xFE5163AB, 0xDEBBC561, 0xB7246E3A, 0x424DD2E0};

constexpr TwoDouble kLn10 = {0x1.26bb1bbb55516p+1, -0x1.f48ad494ea3e9p-53};
constexpr TwoDouble kInverseLn10 = {0x1.bcb7b1526e50ep-2, 0x1.95355baaafad3p-57};

// Every function first evaluates in plain binary64, within about 2^-51 of the exact value.
// When the values 2^-45 either side of that round to the same float, so does the exact
// value, and that float is the result: all but about one argument in a million end here.
// The others go on to the two-double evaluation.
bool decided(double y, float& result) {
    constexpr double kMargin = 0x1p-45;
    const double margin = y * kMargin;
    result = static_cast<float>(y - margin);
    return result == static_cast<float>(y + margin);
}

// e^(r.hi + r.lo) for |r| <= ln2/128 (and a little more), as hi + lo times 2^(j/64).
TwoDouble expReduced(TwoDouble r, int j) {
    const double rh = r.hi, rl = r.lo;
    const TwoDouble square = exactProduct(rh, rh);
    // r + r^2/2 + r^3/6 + ... : the first two terms exactly, the rest in binary64.
    const double tail =
        rh * rh * rh *
        (1.0 / 6 +
         rh * (1.0 / 24 + rh * (1.0 / 120 + rh * (1.0 / 720 + rh * (1.0 / 5040 + rh / 40320)))));
    TwoDouble p = twoSum(rh, square.hi * 0.5);
    p.lo += rl + rh * rl + square.lo * 0.5 + tail;
    const TwoDouble& t = kExp2Table[j];
    const TwoDouble tp = exactProduct(t.hi, p.hi);
    TwoDouble sum = twoSum(t.hi, tp.hi);
    sum.lo += tp.lo + t.hi * p.lo + t.lo * (1.0 + p.hi);
    return fastTwoSum(sum.hi, sum.lo);
}

// e^(a.hi + a.lo) rounded to float, for |a| below 2^10.
float expOf(TwoDouble a) {
    const double kd = a.hi * k64OverLn2;
    const auto k = static_cast<int32_t>(kd < 0 ? kd - 0.5 : kd + 0.5);
    const TwoDouble r = {a.hi - k * kLn2Over64High, a.lo - k * kLn2Over64Low};
    // 2^(k >> 6) scales exactly: the result stays a normal double.
    const double scale = std::bit_cast<double>(static_cast<uint64_t>(1023 + (k >> 6)) << 52);
    const double rr = r.hi + r.lo, t = kExp2Table[k & 63].hi;
    const double p =
        rr + rr * rr * (0.5 + rr * (1.0 / 6 + rr * (1.0 / 24 + rr * (1.0 / 120 + rr / 720))));
    float quick;
    if (decided((t + t * p) * scale, quick)) return quick;
    const TwoDouble v = expReduced(twoSum(r.hi, r.lo), k & 63);
    return roundToFloat(v.hi * scale, v.lo * scale);
}

// x = 2^e * m with m in [1, 2) (one more in e and m/2 from sqrt 2 on), m * inverse = 1 + r.
struct LogParts {
    double e, r;
    const LogEntry* entry;
};
LogParts logParts(float x) {
    const uint64_t bits = std::bit_cast<uint64_t>(static_cast<double>(x));
    int e = static_cast<int>(bits >> 52) - 1023;
    const double m = std::bit_cast<double>((bits & 0x000FFFFFFFFFFFFFull) | 0x3FF0000000000000ull);
    const auto i = static_cast<int>((bits >> 45) & 127);
    if (i >= 53) ++e;
    return {static_cast<double>(e), m * kLogTable[i].inverse - 1.0, &kLogTable[i]};  // exact
}

// ln(x) in plain binary64, within about 2^-51 (the two parts never cancel by more than half).
double logQuick(const LogParts& x) {
    const double r = x.r;
    const double series =
        r + r * r * (-0.5 + r * (1.0 / 3 + r * (-0.25 + r * (0.2 + r * (-1.0 / 6 + r / 7)))));
    return (x.e * kLn2High + x.entry->minusLog.hi) + (x.e * kLn2Low + series);
}

// ln(x) for a positive finite x as hi + lo.
TwoDouble logOf(const LogParts& x) {
    const double r = x.r, ed = x.e;
    const LogEntry& entry = *x.entry;
    // ln(1 + r) = r - r^2/2 + r^3/3 - ...: r and r^2/2 exactly, the rest in binary64.
    const TwoDouble square = exactProduct(r, r);
    const double tail =
        r * r * r *
        (1.0 / 3 +
         r * (-1.0 / 4 + r * (1.0 / 5 + r * (-1.0 / 6 + r * (1.0 / 7 + r * (-1.0 / 8 + r / 9))))));
    TwoDouble sum = twoSum(ed * kLn2High, entry.minusLog.hi);
    TwoDouble next = twoSum(sum.hi, r);
    sum = {next.hi, sum.lo + next.lo};
    next = twoSum(sum.hi, -0.5 * square.hi);
    sum = {next.hi, sum.lo + next.lo};
    sum.lo += ed * kLn2Low + entry.minusLog.lo - 0.5 * square.lo + tail;
    return fastTwoSum(sum.hi, sum.lo);
}

// Bits index .. index + 31 of 2/pi, bit 1 being the one worth 1/2; zeros before it.
uint32_t twoOverPiBits(int index) {
    const int first = index - 1;
    const int word = first >= 0 ? first / 32 : -((31 - first) / 32);
    const int shift = first - 32 * word;
    const auto at = [](int w) { return w >= 0 && w < 10 ? uint64_t{kTwoOverPi[w]} : 0; };
    return static_cast<uint32_t>(((at(word) << 32 | at(word + 1)) << shift) >> 32);
}

// x = r + q * pi/2 for a float x above pi/4: q modulo 4 and r (|r| <= pi/4) as hi + lo,
// from x times 2/pi in exact integer arithmetic on 32-bit pieces (Payne and Hanek).
// x = m * 2^e with m an integer below 2^24; the bits of 2/pi worth 4 or more after the
// product only add multiples of 4, so a 160-bit window from the bit worth 2 suffices.
TwoDouble reduceHalfPi(float x, int& quadrant) {
    const uint32_t bits = std::bit_cast<uint32_t>(x);
    const int e = static_cast<int>(bits >> 23) - 150;  // x is normal here (above pi/4)
    const uint64_t m = (bits & 0x7FFFFF) | 0x800000;
    uint32_t product[6] = {};  // m times the window, least significant word first
    uint64_t carry = 0;
    for (int k = 4; k >= 0; --k) {
        carry += m * twoOverPiBits(e - 1 + 32 * k);
        product[4 - k] = static_cast<uint32_t>(carry);
        carry >>= 32;
    }
    product[5] = static_cast<uint32_t>(carry);
    // The product is x * 2/pi times 2^158 (modulo 4 * 2^158): bits 158 and 159 count
    // the quadrant, the 158 below are the fraction.
    quadrant = static_cast<int>((product[4] >> 30) & 3);
    uint64_t high = uint64_t{product[4] & 0x3FFFFFFF} << 34 | uint64_t{product[3]} << 2 |
                    product[2] >> 30;  // fraction bits 1..64
    uint64_t low = uint64_t{product[2]} << 34 | uint64_t{product[1]} << 2 | product[0] >> 30;
    double sign = 1.0;
    if (high >> 63) {  // a half or more: count one more quadrant and go back from it
        ++quadrant;
        sign = -1.0;
        high = ~high + (low == 0 ? 1 : 0);
        low = ~low + 1;
    }
    // fraction = high * 2^-64 + low * 2^-128, each part split so that it converts exactly.
    const TwoDouble f = fastTwoSum(
        static_cast<double>(high >> 11) * 0x1p-53,
        static_cast<double>(high & 0x7FF) * 0x1p-64 + static_cast<double>(low >> 11) * 0x1p-117);
    const TwoDouble r = exactProduct(f.hi, kHalfPi.hi);
    return fastTwoSum(sign * r.hi, sign * (r.lo + f.hi * kHalfPi.lo + f.lo * kHalfPi.hi));
}

// sin(r) (or cos(r) when `cosine`) for 0 <= r <= pi/4 + a little, as hi + lo: r = k/64 + t
// with |t| <= 1/128, then the sum formulas with the table's sin and cos of k/64.
TwoDouble sinCosReduced(TwoDouble r, bool cosine) {
    const int k = static_cast<int>(r.hi * 64 + 0.5);
    const TwoDouble t = fastTwoSum(r.hi - k * 0x1p-6, r.lo);  // the subtraction is exact
    const TwoDouble square = exactProduct(t.hi, t.hi);
    const double t2 = square.hi;
    // sin t = t + t * s, cos t = 1 - t^2/2 + c: s and c in binary64.
    const double s = -t2 * (1.0 / 6 - t2 * (1.0 / 120 - t2 * (1.0 / 5040 - t2 / 362880)));
    const double c = t2 * t2 * (1.0 / 24 - t2 * (1.0 / 720 - t2 / 40320));
    const SinCos& a = kSinCosTable[k];
    // sin(a + t) = S + C t + C t s - S t^2/2 + S c;  cos(a + t) = C - S t - S t s - C t^2/2 + C c
    const TwoDouble& first = cosine ? a.cos : a.sin;
    const TwoDouble second = cosine ? TwoDouble{-a.sin.hi, -a.sin.lo} : a.cos;
    const TwoDouble linear = exactProduct(second.hi, t.hi);
    TwoDouble sum = twoSum(first.hi, linear.hi);
    const TwoDouble half = twoSum(sum.hi, -0.5 * first.hi * t2);
    sum = {half.hi, sum.lo + half.lo};
    sum.lo += first.lo + linear.lo + second.hi * t.lo + second.lo * t.hi + second.hi * t.hi * s -
              0.5 * (first.hi * square.lo + first.lo * t2) - first.hi * t.hi * t.lo + first.hi * c;
    return fastTwoSum(sum.hi, sum.lo);
}

// The special values of both logarithms; false when x is an ordinary positive number.
bool logSpecial(float x, float& result) {
    if (x != x || x == kInfinity) return result = x, true;
    if (x == 0.0f) return result = -kInfinity, true;
    if (x < 0.0f) return result = kNaN, true;
    if (x == 1.0f) return result = 0.0f, true;
    return false;
}

}  // namespace

float exp(float x) {
    if (x != x) return x;
    if (x > 89.0f) return kInfinity;
    if (x < -104.0f) return 0.0f;
    return expOf({x, 0.0});
}

float exp10(float x) {
    if (x != x) return x;
    if (x > 39.0f) return kInfinity;
    if (x < -46.0f) return 0.0f;
    const TwoDouble a = exactProduct(x, kLn10.hi);
    return expOf(fastTwoSum(a.hi, a.lo + static_cast<double>(x) * kLn10.lo));
}

float sin(float x) {
    if (x != x || x == 0.0f) return x;
    if (x - x != 0.0f) return kNaN;  // infinities
    const bool negative = x < 0.0f;
    const float a = negative ? -x : x;
    int quadrant = 0;
    TwoDouble r = {a, 0.0};
    if (a > 0.785f) r = reduceHalfPi(a, quadrant);
    const bool rNegative = r.hi < 0.0;
    if (rNegative) r = {-r.hi, -r.lo};
    const bool cosine = (quadrant & 1) != 0;
    TwoDouble v = sinCosReduced(r, cosine);
    // sin(q pi/2 + r): sin r, cos r, -sin r, -cos r; sin is odd, cos even in r.
    const bool flip = (((quadrant & 2) != 0) != (rNegative && !cosine)) != negative;
    if (flip) v = {-v.hi, -v.lo};
    return roundToFloat(v.hi, v.lo);
}

float log(float x) {
    float special;
    if (logSpecial(x, special)) return special;
    const LogParts parts = logParts(x);
    float quick;
    if (decided(logQuick(parts), quick)) return quick;
    const TwoDouble l = logOf(parts);
    return roundToFloat(l.hi, l.lo);
}

float log10(float x) {
    float special;
    if (logSpecial(x, special)) return special;
    const LogParts parts = logParts(x);
    float quick;
    if (decided(logQuick(parts) * kInverseLn10.hi, quick)) return quick;
    const TwoDouble l = logOf(parts);
    const TwoDouble p = exactProduct(l.hi, kInverseLn10.hi);
    const TwoDouble v = fastTwoSum(p.hi, p.lo + l.hi * kInverseLn10.lo + l.lo * kInverseLn10.hi);
    return roundToFloat(v.hi, v.lo);
}

}  // namespace vorn::elementary
