#pragma once

#include <gtest/gtest.h>

#include <clocale>
#include <cstdlib>

namespace mth_test {

/// A locale for the life of this object, then "C" again. A machine that lacks it keeps the former one, unless
/// LC_COMMA_EXPECTED is in the environment: the test then fails.
class LocaleScope {
 public:
  explicit LocaleScope(const char* name) {
    const bool isSet = std::setlocale(LC_ALL, name) != nullptr;
    EXPECT_TRUE(isSet || std::getenv("LC_COMMA_EXPECTED") == nullptr) << name;
  }
  ~LocaleScope() { std::setlocale(LC_ALL, "C"); }
  LocaleScope(const LocaleScope&) = delete;
  LocaleScope& operator=(const LocaleScope&) = delete;
};

/// One with a decimal point and one with a decimal comma.
constexpr const char* kLocales[] = {"C", "fr_FR.UTF-8"};

}  // namespace mth_test
