#!/usr/bin/env python3
"""Computes the cosine sums whose largest side lobe is as low as can be.

Prints, for 4 to 11 terms: the side-lobe level in dB; the amplitudes a of the window
    w(t) = a[0] - a[1] cos(2 pi t) + a[2] cos(4 pi t) - ..., 0 <= t <= 1, of peak 1;
and c, the same window as the sum of c[j] sin(pi t)^(2 j), which is what
tessalune/frame/streams/QSWindowCalculator.cpp holds. Python's own library suffices; it takes seconds.

The spectrum at f bins is sin(pi f) / pi times the sum of (-1)^k a[k] f / (f^2 - k^2). The main lobe
of K terms ends at bin K. Beyond it the sum, weighted by |f sin(pi f)|, is a Chebyshev problem in
K - 1 unknowns (a[0] = 1): of the solution K extremes are equal and alternate. Remez's exchange finds
them.
"""

from decimal import Decimal, getcontext

getcontext().prec = 70
PI = Decimal("3.14159265358979323846264338327950288419716939937510582097494459230781640628620899")
PER_BIN = 32  # points at which a bin is looked at before an extreme is refined


def sine_of_pi(f):
    """sin(pi f)"""
    whole = int(f.to_integral_value())
    x = PI * (f - whole)
    term = total = x
    k = 1
    while abs(term) > Decimal(10) ** -75:
        term *= -x * x / ((k + 1) * (k + 2))
        total += term
        k += 2
    return -total if whole % 2 else total


def solve(rows, right):
    """Gauss's elimination with pivots."""
    n = len(rows)
    table = [row + [r] for row, r in zip(rows, right)]
    for i in range(n):
        pivot = max(range(i, n), key=lambda r: abs(table[r][i]))
        table[i], table[pivot] = table[pivot], table[i]
        for r in range(i + 1, n):
            factor = table[r][i] / table[i][i]
            table[r] = [x - factor * y for x, y in zip(table[r], table[i])]
    result = [Decimal(0)] * n
    for i in reversed(range(n)):
        known = sum(table[i][j] * result[j] for j in range(i + 1, n))
        result[i] = (table[i][n] - known) / table[i][i]
    return result


def basis(f, k):
    return (-1) ** k / (f * f - k * k)


def minimal_sum(count):
    """Amplitudes for a[0] = 1 and the largest side lobe relative to the main one."""
    # Far out the extremes lie half-way between two bins; the last of them is beyond 10 count.
    grid = [count + Decimal(i) / PER_BIN for i in range(1, 4 * count * PER_BIN) if i % PER_BIN]
    grid += [5 * count + i + Decimal(1) / 2 for i in range(60 * count)]
    weights = {}

    def weight(f):
        if f not in weights:
            weights[f] = abs(f * sine_of_pi(f)) / PI
        return weights[f]

    def error(f, a):
        return weight(f) * sum(a[k] * basis(f, k) for k in range(count))

    def refined(f, a):
        """The extreme near a point of the grid, by parabolas of ever smaller width."""
        step = Decimal(1) / PER_BIN
        for _ in range(9):
            low, mid, high = (abs(error(x, a)) for x in (f - step, f, f + step))
            bend = low - 2 * mid + high
            if bend >= 0:
                break
            f += max(-step, min(step, step * (low - high) / (2 * bend)))
            step /= 8
        return f

    def solution(points):
        rows, right = [], []
        for i, f in enumerate(points):
            rows.append([basis(f, k) for k in range(1, count)] + [(-1) ** i / weight(f)])
            right.append(-basis(f, 0))
        *a, level = solve(rows, right)
        return [Decimal(1)] + a, abs(level)

    points = [count + Decimal(2 * i + 1) / 2 for i in range(count)]
    while True:
        a, level = solution(points)
        # Of each run of one sign the largest point; of the runs those that belong to the solution.
        runs = []
        for f in grid:
            e = error(f, a)
            if runs and (runs[-1][1] > 0) == (e > 0):
                if abs(e) > abs(runs[-1][1]):
                    runs[-1] = (f, e)
            else:
                runs.append((f, e))
        while len(runs) > count:
            runs.pop(0 if abs(runs[0][1]) < abs(runs[-1][1]) else -1)
        assert len(runs) == count, "too few extremes"
        points = [refined(f, a) for f, _ in runs]
        largest = max(abs(error(f, a)) for f in points)
        if largest / level - 1 < Decimal(10) ** -25:
            return a, largest


def chebyshev(a):
    """Coefficients in s = sin(pi t)^2 of the sum of a[k] T_k(2 s - 1)."""
    previous, current = [Decimal(1)], [Decimal(-1), Decimal(2)]
    result = [Decimal(0)] * len(a)
    result[0] = a[0]
    for amplitude in a[1:]:
        for j, c in enumerate(current):
            result[j] += amplitude * c
        following = [Decimal(0)] * (len(current) + 1)
        for j, c in enumerate(current):
            following[j] -= 2 * c
            following[j + 1] += 4 * c
        for j, c in enumerate(previous):
            following[j] -= c
        previous, current = current, following
    return result


def main():
    for count in range(4, 12):
        a, level = minimal_sum(count)
        peak = sum(a)
        a = [x / peak for x in a]
        print(f"{count} terms: {20 * level.log10():.4f} dB")
        print("  a:", ", ".join(f"{x:.17e}" for x in a))
        print("  c:", ", ".join(f"{x:.17e}" for x in chebyshev(a)))


if __name__ == "__main__":
    main()
