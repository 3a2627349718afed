#!/usr/bin/env python3
"""Prints the tables and constants of src/math/elementary.cpp, computed with 80 decimal
digits: each value as the double nearest to it plus the double nearest to the rest.

  scripts/gen_elementary_tables.py     # paste the output over the tables it names
"""

import math
from decimal import Decimal as D, getcontext

getcontext().prec = 80
LN2, LN10 = D(2).ln(), D(10).ln()


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


if __name__ == "__main__":
    main()
