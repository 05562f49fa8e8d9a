#!/usr/bin/env python3
"""Works out degrees for sensor words, apart from the library's code.

    make_conversion_table.py > conversion_table.inc

Every step is done in exact fractions and then rounded to the nearest single-precision number, ties to even.
Numbers are fractions, or the float "inf" where a division has no finite result.
"""
from fractions import Fraction

INFINITY = float("inf")


def rounded(exact):
    if exact == 0:
        return Fraction(0)
    size = abs(exact)
    exponent = size.numerator.bit_length() - size.denominator.bit_length()
    if Fraction(2) ** exponent > size:
        exponent -= 1
    step = Fraction(2) ** (max(exponent, -126) - 23)
    result = round(size / step) * step
    if result >= Fraction(2) ** 128:
        raise OverflowError
    return result if exact > 0 else -result


def pattern(number):
    if number == INFINITY:
        return 0x7F800000
    if number == 0:
        return 0
    sign = 0x80000000 if number < 0 else 0
    size = abs(number)
    exponent = size.numerator.bit_length() - size.denominator.bit_length()
    if Fraction(2) ** exponent > size:
        exponent -= 1
    assert exponent >= -126
    mantissa = size / Fraction(2) ** (exponent - 23)
    assert mantissa.denominator == 1
    return sign | (exponent + 127) << 23 | (mantissa.numerator - 0x800000)


def single(text):
    return rounded(Fraction(text))


def plus(a, b):
    return a if a == INFINITY else rounded(a + b)


def minus(a, b):
    return plus(a, -b)


def times(a, b):
    return rounded(a * b)


def over(a, b):
    return INFINITY if b == 0 else rounded(a / b)


for text, bits in (("375.3", 0x43BBA666), ("11109.6", 0x462D9666), ("11984.47", 0x463B41E1),
                   ("301.57", 0x4396C8F6), ("1.2", 0x3F99999A), ("9999", 0x461C3C00)):
    assert pattern(single(text)) == bits, text


def uncorrected(lsb, a):
    quotient = over(plus(Fraction(lsb), Fraction(a)), single("375.3"))
    return minus(over(single("11109.6"), plus(quotient, Fraction(24))), Fraction(290))


def degrees(sense, adj):
    if sense[0] >> 4 != 0xF:
        return single("9999")
    word = (sense[0] & 15) << 20 | sense[1] << 12 | (sense[2] & 15) << 8 | sense[3]
    msb = word >> 19
    lsb = word >> 3 & 0xFFFF
    a = adj[0] * 256 + adj[1]
    if a >= 0x8000:
        a -= 0x10000
    kind = adj[2] & 0xF0
    if kind == 0x20:
        if msb != 4:
            return single("9999")
        t = uncorrected(lsb, a)
        if t >= 125:
            t = minus(times(t, single("1.2")), Fraction(25))
        return t
    if kind in (0x00, 0x10):
        b = minus(over(Fraction(a), Fraction(100)), Fraction(101))
        c = plus(plus(plus(Fraction(msb), single("21.25")), over(Fraction(lsb), Fraction(2752))), b)
        return minus(over(single("11984.47"), c), single("301.57"))
    return Fraction(0)


class Rows:
    def __init__(self):
        self.seen = {}
        self.state = 12345

    def noise(self, limit):
        self.state = (self.state * 1103515245 + 12345) % 2**31
        return (self.state >> 8) % limit

    def add(self, sense, adj):
        self.seen.setdefault((tuple(sense), tuple(adj)), pattern(degrees(sense, adj)))

    def add_fields(self, msb, lsb, a, kind):
        word = msb << 19 | lsb << 3 | self.noise(8)
        sense = (0xF0 | word >> 20, word >> 12 & 0xFF, self.noise(16) << 4 | word >> 8 & 15, word & 0xFF)
        a %= 0x10000
        self.add(sense, (a >> 8, a & 0xFF, kind))


def one_point(rows):
    for kind in (0x00, 0x10):
        for msb in range(32):
            for lsb, a in ((0, 0), (0xFFFF, 0), (0x8000, -1), (1, 0x7FFF), (0x1234, -0x8000)):
                rows.add_fields(msb, lsb, a, kind + rows.noise(16))
            for _ in range(8):
                rows.add_fields(msb, rows.noise(0x10000), rows.noise(0x10000), kind + rows.noise(16))
    # The sum is zero, and on either side of it.
    for a in (7974, 7975, 7976):
        rows.add_fields(0, 0, a, 0x00)
        rows.add_fields(0, 1, a, 0x10)
    for _ in range(60):
        rows.add_fields(rows.noise(32), rows.noise(0x10000), 5000 + rows.noise(2500), 0x00)


def first_below(limit):
    """The smallest sum of LSB and A whose degrees are below the limit; degrees fall as the sum grows."""
    low, high = -9000, 70000
    while low + 1 < high:
        middle = (low + high) // 2
        low, high = (low, middle) if uncorrected(middle, 0) < limit else (middle, high)
    return high


def two_points(rows):
    for lsb in range(0, 0x10000, 0x400):
        rows.add_fields(4, lsb, 0, 0x20 + rows.noise(16))
        rows.add_fields(4, lsb + rows.noise(0x400), rows.noise(0x10000), 0x20)
    for total in range(-9012, -9002):
        rows.add_fields(4, 0, total, 0x20)
    edge = first_below(125)
    for total in range(edge - 12, edge + 12):
        rows.add_fields(4, 500, total - 500, 0x20)
        rows.add_fields(4, total, 0, 0x2F)
    for a in (0xFFFF, 0x8000, 0x7FFF, 0x00FF, 0xFF00, 0x0100, 1, 0):
        for lsb in (0, 1, 0x8000, 0xFFFE, 0xFFFF):
            rows.add_fields(4, lsb, a, 0x20)
    for msb in range(32):
        rows.add_fields(msb, rows.noise(0x10000), rows.noise(0x10000), 0x20)


def no_measurement(rows):
    for high in range(16):
        for kind in (0x00, 0x10, 0x20, 0x30):
            rows.add((high << 4 | 2, 0x11, 0x22, 0x33), (0x01, 0x02, kind))
    rows.add((0xE5, 0, 0, 0), (0, 0, 0x20))
    for kind in range(0x100):
        rows.add((0xF2, 0x12, 0x34, 0x56), (0x03, 0xE8, kind))
    rows.add((0xF2, 0x12, 0x34, 0x56), (0, 0, 0x35))


def main():
    rows = Rows()
    one_point(rows)
    two_points(rows)
    no_measurement(rows)
    print("// s0 to s3, adj0 to adj2, bits of the result. Written by make_conversion_table.py.")
    for (sense, adj), bits in rows.seen.items():
        columns = [", ".join(f"{byte:3}" for byte in part) for part in (sense, adj)]
        print(f"{{{{{columns[0]}}}, {{{columns[1]}}}, 0x{bits:08X}}},")


if __name__ == "__main__":
    main()
