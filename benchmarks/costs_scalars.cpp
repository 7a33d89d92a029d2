// Operations on a few numbers: special functions, random draws, values, single points, files. The odd value
// is in every one of their calls. See costs.cpp.

#include <cstdio>
#include <filesystem>

#include "costs.h"
#include "std/Std.h"

using namespace mth_benchmark;

namespace {

volatile double sink;

constexpr int kCalls = 20000;

// `count` calls of operation(x, y), both numbers between 50 and 150 where they are ordinary.
template <class Operation>
void AddCalls(Cases& cases, const std::string& name, Operation operation, int calls = kCalls) {
  cases.push_back({name, calls, [=](Kind kind, int count) -> Run {
                     Values x = Make(Kind::Ordinary, count);
                     if (kind != Kind::Ordinary) std::fill(x.begin(), x.end(), Make(kind, 1)[0]);
                     return [=, y = Make(Kind::Ordinary, count, 2)] {
                       double sum = 0.0;
                       for (std::size_t i = 0; i < x.size(); ++i)
                         sum += static_cast<double>(operation(x[i], y[i]));
                       sink = sum;
                     };
                   }});
}

void AddSpecialFunctions(Cases& cases) {
  const auto add = [&](const std::string& name, auto operation) {
    AddCalls(cases, "special functions/" + name, operation);
  };
  add("logarithm of gamma", [](double x, double) { return Mth_LogarithmGamma(x); });
  add("gamma", [](double x, double) { return Mth_Gamma(0.1 * x); });
  add("incomplete beta", [](double x, double y) { return Mth_IncompleteBeta(0.1 * y, 3.0, x / 200.0); });
  add("its fraction", [](double x, double y) { return Mth_UsedByIncompleteBeta(0.1 * y, 3.0, x / 200.0); });
  add("complementary error function",
      [](double x, double) { return Mth_ComplementaryErrorFunction(x / 50.0); });
  add("error function", [](double x, double) { return Mth_ErrorFunction(static_cast<float>(x / 50.0)); });
}

void AddDraws(Cases& cases) {
  const auto add = [&](const std::string& name, auto operation) {
    AddCalls(
        cases, "random/" + name, [=](double, double) { return operation(); }, 50 * kCalls);
  };
  for (const auto seed : {Mth_InitRandom1, Mth_InitRandom3}) seed(1);
  Mth_InitRandom2(1, 0, 100);
  add("uniform, own state", [] {
    static long state = -1;
    return Mth_RandomGenerator(&state);
  });
  add("uniform, stream", [] { return Mth_Random1(1); });
  add("whole numbers", [] { return Mth_Random2(1); });
  add("bits", [] { return Mth_Random3(1); });
  add("normal", [] { return Mth_NormalRandomGenerator(1); });
  cases.push_back({"random/selection without repetition", 32000, [](Kind, int n) -> Run {
                     return [chosen = std::vector<short>(static_cast<std::size_t>(n) / 2), n]() mutable {
                       Mth_Random_SelectAleat(static_cast<short>(n / 2), static_cast<short>(n),
                                              chosen.data());
                     };
                   }});
  cases.push_back({"random/white noise", 1000, [](Kind kind, int n) -> Run {
                     return [deviation = kind == Kind::Ordinary ? 3.0 : Make(kind, 1)[0],
                             matrix = std::make_shared<MTH_MATRIX>(n, n, 0)] {
                       matrix->SetWhiteNoise(deviation, 1);
                     };
                   }});
}

void AddNumbersAndPoints(Cases& cases) {
  const auto add = [&](const std::string& name, auto operation) {
    AddCalls(cases, "values/" + name, operation, 10 * kCalls);
  };
  add("distances", [](double x, double y) {
    return MTH_3D_DOUBLE(x, y, 1.0).Distance({y, x, 2.0}) + MTH_2D_DOUBLE(x, y).Distance({y, x}) +
           MTH_3D_FLOAT(static_cast<float>(x), 1.0F, 2.0F).Distance({3.0F, static_cast<float>(y), 1.0F});
  });
  add("dot and cross products", [](double x, double y) {
    const MTH_3D_VECT_DOUBLE v(x, y, 1.0);
    const MTH_3D_VECT_DOUBLE w(y, 2.0, x);
    const std::unique_ptr<MTH_3D_VECT_DOUBLE> cross(v ^ w);
    const std::unique_ptr<MTH_3D_VECT_DOUBLE> difference(v - w);
    cross->Normalise();
    return v * w + cross->GetX() + difference->GetNorm();
  });
  add("complex arithmetic", [](double x, double y) {
    const MTH_COMPLEX a(x, y);
    const MTH_COMPLEX b(y, 2.0);
    double sum = a.module() + a.phase();
    for (MTH_COMPLEX* result : {a + b, a - b, a * b, a / b, a * 2.0, a.sqrt_complex(), a.sqr_complex()}) {
      sum += result->getReal();
      delete result;
    }
    return sum;
  });
}

void AddSinglePoints(Cases& cases) {
  const auto add = [&](const std::string& name, auto operation) {
    AddCalls(cases, "geometry/" + name, operation, 5 * kCalls);
  };
  add("meeting of lines", [](double x, double y) {
    double first[2][3] = {{x, 0.0, 1.0}, {y, 2.0, 3.0}};
    double second[2][3] = {{1.0, y, 0.0}, {x, 5.0, 7.0}};
    double meeting[3];
    return Mth_3D_LinesIntersection(first, second, meeting);
  });
  add("projections of a point", [](double x, double y) {
    MTH_3D_DOUBLE plane[] = {{x, 0.0, 0.0}, {0.0, y, 0.0}, {0.0, 0.0, 3.0}};
    MTH_3D_DOUBLE point(y, x, 5.0);
    MTH_3D_DOUBLE projection;
    double t = 0.0;
    Mth_3D_PointProjectionOnPlan(plane, point, &projection);
    Mth_3D_PointProjectionOnSegment(&point, plane, &projection, &t);
    return projection.GetX() + Mth_3D_PointDiffToNormal(plane, point, {x, y, 1.0});
  });
  add("slice orientations", [](double x, double y) {
    MTH_3D_VECT_DOUBLE v(x, y, 30.0);
    short codes[2];
    double angles[2];
    Orient_Coupe_Irm record{};
    using Calculate = void (*)(MTH_3D_VECT_DOUBLE*, short*, short*, double*, double*);
    const Calculate calculations[] = {Mth_3D_CalculParamCoupePerp, Mth_3D_CalculParamCoupeVert,
                                      Mth_3D_CalculParamCoupeObliq};
    for (const Calculate calculate : calculations) {
      calculate(&v, &codes[0], &codes[1], &angles[0], &angles[1]);
      Mth_3D_Trans_Cod_IRM(codes[0], codes[1], angles[0], angles[1], &record);
    }
    Mth_3D_CalculShiftmean({x, y, 1.0}, {y, x, 2.0}, &record);
    return record.shift;
  });
  add("changes of reference", [](double x, double y) {
    double quaternion[7] = {0.01 * x, 0.3, 0.2, 0.1, y, 2.0, 3.0};
    double angles[3] = {x, y, 30.0};
    float axis[3] = {0.0F, 0.6F, 0.8F};
    float angle = 0.0F;
    MTH_MATRIX_CHGREF first(quaternion);
    first.ComputeFromQuaternion();
    first.MultQuaternion(axis, static_cast<float>(x));
    first.Normalize();
    first.ToAxisAngle(axis, angle);
    MTH_MATRIX_CHGREF second(angles, angles);
    second.ComputeFromRotTrans();
    second.GetAnglesRadians(angles);
    second.SetAnglesRadians(angles);
    const std::unique_ptr<MTH_MATRIX_CHGREF> product(first * second);
    MTH_3D_DOUBLE mapped;
    product->ChangeRef({x, y, 1.0}, &mapped);
    return mapped.GetX();
  });
}

std::string ScratchFile() {
  return (std::filesystem::temp_directory_path() / ("mth_costs_" + std::to_string(std::random_device()())))
      .string();
}

// A run that reads back what it writes; the file goes with it.
struct ScratchProfile {
  std::string name = ScratchFile();
  ~ScratchProfile() { std::remove(name.c_str()); }
};

void AddLists(Cases& cases) {
  cases.push_back({"lists/pointers", 100000, [](Kind kind, int n) -> Run {
                     return [x = Make(kind, n)] {
                       std::vector<MTH_3D_DOUBLE> points;
                       for (const double value : x) points.emplace_back(value, 1.0, 2.0);
                       MTH_POINTER_LIST<MTH_3D_DOUBLE> list;
                       for (MTH_3D_DOUBLE& point : points) list.Add(&point);
                       for (const auto compare : {Mth_SortXCroissant, Mth_SortYCroissant, Mth_SortZCroissant})
                         list.Sort(compare);
                       while (list.Delete(list.GetCount() - 1)) {
                       }
                     };
                   }});
  cases.push_back({"lists/subsets, by their number", 1 << 17, [](Kind, int n) -> Run {
                     int elements = 0;
                     while ((1 << (elements + 1)) <= n) ++elements;
                     const auto matrix = MakeMatrix(Kind::Ordinary, 1, elements);
                     return [=] {
                       std::vector<std::vector<int>> sets(static_cast<std::size_t>(1) << elements);
                       MTH_POINTER_LIST<std::vector<int>> list;
                       for (std::vector<int>& set : sets) list.Add(&set);
                       Mth_GenerateSubsets(matrix.get(), &list);
                     };
                   }});
  cases.push_back({"optimise/files of a profile", 50000, [](Kind kind, int n) -> Run {
                     const auto file = std::make_shared<ScratchProfile>();
                     const auto data = std::make_shared<Values>(Make(kind, n));
                     const auto x = std::make_shared<Values>(Make(Kind::Ordinary, n, 2));
                     return [=] {
                       MTH_FUNCT_PROFILE_COST cost(n, x->data(), data->data());
                       cost.SaveProfile(file->name.c_str());
                       cost.LoadProfile(file->name.c_str());
                       cost.SaveParameters(file->name.c_str());
                     };
                   }});
}

void AddTrees(Cases& cases) {
  cases.push_back({"boosting/a tree", 100000, [](Kind kind, int n) -> Run {
                     const auto features = MakeMatrix(kind, 4, n);
                     const auto labels = MakeMatrix(Kind::AllEqual, 1, n);
                     for (int i = 0; i < n; ++i) labels->Set(0, i, i % 3 == 0 ? 1.0 : -1.0);
                     return [=, weights = Values(static_cast<std::size_t>(n), 1.0 / n)]() mutable {
                       MTH_CLUSTERING_TREE tree(3);
                       MTH_CLUSTERING_TREE left(1);
                       MTH_CLUSTERING_TREE right(1);
                       tree.DoTraining(&tree, features.get(), labels.get(), weights.data(), nullptr, &left,
                                       &right);
                       delete[] tree.CalculOutput(&left, features.get());
                       MTH_CLUSTERING_ADABOOST::DeleteCells(
                           tree.Train(&tree, features.get(), labels.get(), weights.data()));
                     };
                   }});
}

}  // namespace

void mth_benchmark::AddScalars(Cases& cases) {
  AddSpecialFunctions(cases);
  AddDraws(cases);
  AddNumbersAndPoints(cases);
  AddSinglePoints(cases);
  AddLists(cases);
  AddTrees(cases);
}
