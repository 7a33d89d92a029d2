#include <algorithm>
#include <array>

#include "support/operations/operations.h"

// Descriptive statistics, sorting, special functions and random streams.

namespace mth_test {
namespace {

constexpr int kCounts[] = {1, 2, 3, 8, 33, 500};

using OnValues = void (*)(Trial&, std::vector<double>);

void AddOfCounts(Operations& list, const std::string& name, OnValues operation, double low = -20.0) {
  list.push_back({"statistics/" + name, [operation, low](Trial& t) {
                    for (const int count : kCounts) operation(t, Values(count, 300, low, 20.0));
                  }});
}

int Size(const std::vector<double>& v) {
  return static_cast<int>(v.size());
}

// Values with many equal ones among them.
std::vector<double> Tied(int count, unsigned seed) {
  Numbers numbers(seed);
  std::vector<double> values(static_cast<std::size_t>(count));
  for (double& value : values) value = numbers.Below(7);
  return values;
}

void AddSummaries(Operations& list) {
  AddOfCounts(list, "Mth_Mean", [](Trial& t, std::vector<double> v) {
    t([&] { return Mth_Mean(v.data(), Size(v)); });
    t([&] { return Mth_Mean(std::move(v)); });
  });
  AddOfCounts(list, "Mth_StdDeviation", [](Trial& t, std::vector<double> v) {
    t([&] { return Mth_StdDeviation(v.data(), Size(v)); });
    t([&] { return Mth_StdDeviation(std::move(v)); });
  });
  AddOfCounts(list, "Mth_Min", [](Trial& t, std::vector<double> v) {
    t([&] { return Mth_Min(v.data(), Size(v)); });
    t([&] { return Mth_Ind_Min(v.data(), Size(v)); });
    t([&] { return Mth_Ind_Max(v.data(), Size(v)); });
    t([&] { return Mth_Min(std::move(v)); });
  });
  AddOfCounts(list, "Mth_Median/vector", [](Trial& t, std::vector<double> v) {
    int index = -7;
    t([&] { return Mth_Median(std::move(v), index); }, 0);
    t.Count(index);
  });
  AddOfCounts(list, "Mth_Pente", [](Trial& t, std::vector<double> v) {
    if (v.size() < 2) return;
    auto y = Values(Size(v), 301);
    std::vector<int> xInts;
    std::vector<int> yInts;
    for (std::size_t i = 0; i < v.size(); ++i) {
      xInts.push_back(static_cast<int>(v[i]) + static_cast<int>(i));
      yInts.push_back(static_cast<int>(100.0 * y[i]));
    }
    auto xFloats = FloatValues(Size(v), 302);
    auto yFloats = FloatValues(Size(v), 303);
    t([&] { return Mth_Pente(v.data(), y.data(), Size(v)); });
    t([&] { return Mth_Pente(xInts.data(), yInts.data(), Size(v)); });
    t([&] { return Mth_Pente(xFloats.data(), yFloats.data(), Size(v)); });
    t([&] { return Mth_Pente(std::move(v), std::move(y)); });
  });
}

// Samples by dimension, as arrays of arrays.
struct SampleArrays {
  SampleArrays(int n, int d, unsigned seed) {
    for (int i = 0; i < d; ++i) columns.push_back(Values(n, seed + static_cast<unsigned>(i)));
    for (auto& column : columns) arrays.push_back(column.data());
  }
  std::vector<std::vector<double>> columns;
  std::vector<double*> arrays;
};

void AddMultivariate(Operations& list) {
  list.push_back({"statistics/Mth_MeanVector", [](Trial& t) {
                    SampleArrays x(37, 3, 310);
                    double means[3] = {};
                    t([&] { Mth_MeanVector(x.arrays.data(), short{37}, short{3}, means); });
                    t.Count(means, 3);
                    t([&] { Mth_MeanVector(x.arrays.data(), 36, short{3}, means); });
                    t.Count(means, 3);
                  }});
  list.push_back(
      {"statistics/Mth_CovarianceMatrix", [](Trial& t) {
         SampleArrays x(37, 5, 320);
         SampleArrays y(37, 5, 330);
         t([&] { return Mth_CovarianceMatrix(x.arrays.data(), x.arrays.data(), short{37}, short{5}); });
         t([&] { return Mth_CovarianceMatrix(x.arrays.data(), y.arrays.data(), 37, short{5}); });
       }});
  const std::pair<const char*, MTH_MATRIX* (*)(MTH_MATRIX*)> onMatrix[] = {
      {"Mth_MeanVector", [](MTH_MATRIX* m) { return Mth_MeanVector(m); }},
      {"Mth_StdDeviationVector", Mth_StdDeviationVector},
      {"Mth_Opt_Matrix", Mth_Opt_Matrix}};
  for (const auto& [type, typeName] : kElementTypes) {
    for (const auto& [name, operation] : onMatrix) {
      list.push_back(
          {std::string("statistics/") + name + "/" + typeName,
           [operation = operation, type = type](Trial& t) {
             for (const auto& [rows, columns] : {std::pair(2, 3), std::pair(9, 8), std::pair(31, 35)}) {
               MTH_MATRIX m = Matrix(rows, columns, type, 340);
               t([&] { return operation(&m); });
             }
           }});
    }
    list.push_back(
        {std::string("statistics/Mth_Median/matrix/") + typeName, [type = type](Trial& t) {
           for (const auto& [rows, columns] : {std::pair(1, 1), std::pair(8, 9), std::pair(31, 34)}) {
             MTH_MATRIX m = Matrix(rows, columns, type, 341);
             t([&] { return Mth_Median(&m); }, 0);
             t.Count(m);
           }
         }});
  }
}

void AddTests(Operations& list) {
  const std::pair<const char*, std::vector<double> (*)(int, unsigned)> inputs[] = {
      {"distinct", [](int count, unsigned seed) { return Values(count, seed); }}, {"tied", Tied}};
  for (const auto& [kind, make] : inputs) {
    list.push_back(
        {std::string("statistics/Mth_CorrelationRatioOfSpearman/") + kind, [make = make](Trial& t) {
           for (const int n : {5, 40, 200}) {
             auto x = make(n, 350);
             auto y = make(n, 351);
             double out[5] = {};
             t([&] {
               Mth_CorrelationRatioOfSpearman(x.data(), y.data(), n, &out[0], &out[1], &out[2], &out[3],
                                              &out[4]);
             });
             t.Count(out, 5);
           }
         }});
    list.push_back(
        {std::string("statistics/Mth_StatisticalCriterionCalculations/") + kind, [make = make](Trial& t) {
           for (const int n : {3, 4, 40, 200}) {
             auto x = make(n, 352);
             auto y = make(n, 353);
             double out[8] = {};
             t([&] {
               Mth_StatisticalCriterionCalculations(x.data(), y.data(), n, &out[0], &out[1], &out[2], &out[3],
                                                    &out[4], &out[5], &out[6], &out[7]);
             });
             t.Count(out, 8);
           }
         }});
    list.push_back({std::string("statistics/Mth_TestMannWhitney/") + kind, [make = make](Trial& t) {
                      for (const int n : {5, 40, 200}) {
                        auto x = make(n, 354);
                        auto y = make(n, 355);
                        t([&] { return Mth_TestMannWhitney(x.data(), y.data(), n); }, 1);
                        t.CountAll(x, y);
                      }
                    }});
  }
}

template <class T>
std::vector<T> Keys(int count, unsigned seed) {
  Numbers numbers(seed);
  std::vector<T> keys(static_cast<std::size_t>(count));
  for (T& key : keys) key = static_cast<T>(numbers.Below(count / 2 + 1) - count / 4);
  return keys;
}

template <class T>
void AddSort(Operations& list, const std::string& type) {
  list.push_back({"statistics/Mth_Sort/" + type, [](Trial& t) {
                    for (const int count : {1, 2, 7, 40, 600}) {
                      for (const bool isAscending : {true, false}) {
                        auto keys = Keys<T>(count, 360);
                        t([&] { Mth_Sort(count, keys.data(), isAscending); });
                        t.Count(keys);
                      }
                    }
                  }});
}

template <class T>
void AddCompanionSort(Operations& list, const std::string& type) {
  list.push_back({"statistics/Mth_Sort/companions/" + type, [](Trial& t) {
                    for (const int count : {1, 2, 7, 8, 40, 600}) {
                      auto keys = Keys<T>(count, 361);
                      auto companions = Keys<T>(count, 362);
                      t([&] { return Mth_Sort(count, keys.data(), companions.data()); });
                      t.CountAll(keys, companions);
                    }
                  }});
}

void AddSorts(Operations& list) {
  AddSort<int>(list, "int");
  AddSort<double>(list, "double");
  AddCompanionSort<double>(list, "double");
  AddCompanionSort<float>(list, "float");
  AddOfCounts(list, "Mth_ReplaceByRank", [](Trial& t, std::vector<double> v) {
    auto ranks = Tied(Size(v), 363);
    std::sort(ranks.begin(), ranks.end());
    double ties = 0.0;
    t([&] { Mth_ReplaceByRank(Size(v), ranks.data(), &ties); });
    t.CountAll(ranks, ties);
  });
  AddOfCounts(list, "Mth_SortVector", [](Trial& t, std::vector<double> v) {
    auto tied = Tied(Size(v), 364);
    t([&] { return Mth_SortVector(std::move(tied)); });
    t([&] { return Mth_SortVector(std::move(v)); });
  });
  const std::pair<const char*, int (*)(void*, void*)> comparisons[] = {
      {"Mth_SortXCroissant", Mth_SortXCroissant},
      {"Mth_SortYCroissant", Mth_SortYCroissant},
      {"Mth_SortZCroissant", Mth_SortZCroissant},
      {"Mth_SortDist", Mth_SortDist}};
  for (const auto& [name, compare] : comparisons) {
    list.push_back({std::string("statistics/") + name, [compare = compare](Trial& t) {
                      auto points = Points(40, 365);
                      for (std::size_t i = 1; i < points.size(); ++i)
                        t([&] { return compare(&points[i - 1], &points[i]); });
                    }});
  }
}

void AddSpecialFunctions(Operations& list) {
  const std::pair<const char*, double (*)(double)> functions[] = {
      {"Mth_LogarithmGamma", Mth_LogarithmGamma},
      {"Mth_Gamma", Mth_Gamma},
      {"Mth_ComplementaryErrorFunction", Mth_ComplementaryErrorFunction},
      {"Mth_ErrorFunction",
       [](double x) { return static_cast<double>(Mth_ErrorFunction(static_cast<float>(x))); }}};
  for (const auto& [name, function] : functions) {
    list.push_back({std::string("statistics/") + name, [function = function](Trial& t) {
                      for (const double x : Values(200, 370, 0.0625, 5.0)) t([&] { return function(x); });
                    }});
  }
  list.push_back({"statistics/Mth_ErrorFunction/negative", [](Trial& t) {
                    for (const double x : Values(100, 371, -4.0, 0.0)) {
                      t([&] { return Mth_ErrorFunction(static_cast<float>(x)); });
                      t([&] { return Mth_ComplementaryErrorFunction(x); });
                    }
                  }});
  const std::pair<const char*, double (*)(double, double, double)> betas[] = {
      {"Mth_IncompleteBeta", Mth_IncompleteBeta}, {"Mth_UsedByIncompleteBeta", Mth_UsedByIncompleteBeta}};
  for (const auto& [name, function] : betas) {
    list.push_back({std::string("statistics/") + name, [function = function](Trial& t) {
                      const auto v = Values(150, 372, 0.0, 1.0);
                      for (std::size_t i = 0; i < v.size(); i += 3) {
                        const double a = 8.0 * v[i] + 0.25;
                        const double b = 8.0 * v[i + 1] + 0.25;
                        t([&] { return function(a, b, v[i + 2]); });
                      }
                    }});
  }
}

int FixedHundredths() {
  return 4711;
}

// Streams seeded by the same clock everywhere.
template <class Draw>
void WithFixedClock(Draw draw) {
  int (*const former)() = Mth_SetRandomClock(FixedHundredths);
  draw();
  Mth_SetRandomClock(former);
}

void AddRandomStreams(Operations& list) {
  list.push_back({"statistics/Mth_RandomGenerator", [](Trial& t) {
                    long seed = -1234;
                    for (int i = 0; i < 200; ++i) t([&] { return Mth_RandomGenerator(&seed); });
                    t.Count(seed);
                  }});
  list.push_back({"statistics/Mth_Random1", [](Trial& t) {
                    WithFixedClock([&] {
                      t([] { return Mth_InitRandom1(1); });
                      for (int i = 0; i < 200; ++i) t([] { return Mth_Random1(1); });
                    });
                  }});
  list.push_back({"statistics/Mth_Random2", [](Trial& t) {
                    WithFixedClock([&] {
                      t([] { return Mth_InitRandom2(2, -30, 400); });
                      for (int i = 0; i < 200; ++i) t([] { return Mth_Random2(2); });
                    });
                  }});
  list.push_back({"statistics/Mth_Random3", [](Trial& t) {
                    WithFixedClock([&] {
                      t([] { return Mth_InitRandom3(3); });
                      for (int i = 0; i < 200; ++i) t([] { return Mth_Random3(3); });
                    });
                  }});
  list.push_back({"statistics/Mth_NormalRandomGenerator", [](Trial& t) {
                    WithFixedClock([&] {
                      t([] { return Mth_InitNormalRandom(4); });
                      // An even number: a deviate that is kept would come out of another run.
                      for (int i = 0; i < 200; ++i) t([] { return Mth_NormalRandomGenerator(4); });
                    });
                  }});
  list.push_back({"statistics/Mth_Random_SelectAleat", [](Trial& t) {
                    std::array<short, 20> drawn{};
                    t([&] { return Mth_Random_SelectAleat(20, 90, drawn.data()); });
                    t.Count(drawn.data(), 20);
                  }});
}

}  // namespace

void AddStatisticsOperations(Operations& list) {
  AddSummaries(list);
  AddMultivariate(list);
  AddTests(list);
  AddSorts(list);
  AddSpecialFunctions(list);
  AddRandomStreams(list);
}

}  // namespace mth_test
