"""Comparisons that go on after a failure, and tell of all of them at the end."""
import sys

failures = comparisons = 0

def check(what, expected, found):
    global failures, comparisons
    comparisons += 1
    if expected != found:
        failures += 1
        print(f"{what}:\n  expected {expected!r}\n  found    {found!r}")

def exit_with_result():
    print(f"{comparisons} comparisons, {failures} failures")
    sys.exit(failures != 0)
