#!/usr/bin/env python3
"""Prints the tables and constants of src/math/elementary.cpp, computed with 110 decimal
digits: each value as the double nearest to it plus the double nearest to the rest.

  scripts/gen_elementary_tables.py     # paste the output over the tables it names
"""

import math
from decimal import Decimal as D, getcontext

getcontext().prec = 110
LN2, LN10 = D(2).ln(), D(10).ln()


def arctan_inverse(n):
    """arctan(1/n) by its series."""
    total, term, k, n2 = D(0), D(1) / n, 1, D(n) * n
    while term > D(10) ** -108:
        total += term / k if (k // 2) % 2 == 0 else -term / k
        term /= n2
        k += 2
    return total


PI = 16 * arctan_inverse(5) - 4 * arctan_inverse(239)  # Machin


def sin_cos(a):
    s, c, term, k = D(0), D(0), D(1), 0
    while abs(term) > D(10) ** -108 or k < 4:
        if k % 2 == 0:
            c += term if k % 4 == 0 else -term
        else:
            s += term if k % 4 == 1 else -term
        k += 1
        term = term * a / k
    return s, c


def two_double(x):
    hi = float(x)
    return hi, float(x - D(hi))


def with_bits(x, bits):
    """x rounded to a double of at most `bits` significant bits."""
    m, e = math.frexp(float(x))
    return math.ldexp(round(m * 2**bits), e - bits)


def pair(x):
    hi, lo = two_double(x)
    return f"{hi.hex()}, {lo.hex()}"


def main():
    print("kExp2Table (2^(j/64)):")
    for j in range(64):
        print(f"    {{{pair((D(j) / 64 * LN2).exp())}}},")
    print("kLogTable ({inverse, -ln(inverse) or -ln(2 inverse) from i = 53}):")
    for i in range(128):
        inverse = 1.0 if i == 0 else 0.5 if i == 127 else with_bits(D(1) / D(1 + (i + 0.5) / 128), 10)
        value = -D(inverse).ln() if i < 53 else -(2 * D(inverse)).ln()
        print(f"    {{{inverse.hex()}, {{{pair(value)}}}}},")
    high = with_bits(LN2 / 64, 37)
    print(f"kLn2Over64High {high.hex()}  kLn2Over64Low {float(LN2 / 64 - D(high)).hex()}")
    print(f"k64OverLn2 {float(64 / LN2).hex()}")
    high = with_bits(LN2, 41)
    print(f"kLn2High {high.hex()}  kLn2Low {float(LN2 - D(high)).hex()}")
    print(f"kLn10 {{{pair(LN10)}}}  kInverseLn10 {{{pair(1 / LN10)}}}")
    print("kSinCosTable ({sin(k/64), cos(k/64)}, k = 0..51):")
    for k in range(52):
        sk, ck = sin_cos(D(k) / 64)
        print(f"    {{{{{pair(sk)}}}, {{{pair(ck)}}}}},")
    print(f"kHalfPi {{{pair(PI / 2)}}}")
    bits, x = [], 2 / PI  # 2/pi in 32-bit words, most significant first
    for _ in range(10):
        x *= 2**32
        word = int(x)
        bits.append(f"0x{word:08X}")
        x -= word
    print("kTwoOverPi", ", ".join(bits))


if __name__ == "__main__":
    main()
