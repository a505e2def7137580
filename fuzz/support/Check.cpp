#include "support/Check.h"

#include <cstdio>
#include <cstdlib>

void check(bool holds, const char* expectation) {
  if (!holds) {
    std::fprintf(stderr, "expected: %s\n", expectation);
    std::abort();
  }
}

void checkEqual(long long actual, long long expected, const char* what) {
  if (actual != expected) {
    std::fprintf(stderr, "%s: %lld, expected %lld\n", what, actual, expected);
    std::abort();
  }
}

void reportFirstDifference(std::size_t index, std::size_t size, double actual, double expected,
                           const char* what) {
  std::fprintf(stderr, "%s: element %zu of %zu is %.17g, expected %.17g\n", what, index, size,
               actual, expected);
  std::abort();
}
