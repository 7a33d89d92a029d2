#include <optional>

#include "support/operations/operations.h"

// Lines, planes, slices, changes of reference and sets of points.

namespace mth_test {
namespace {

void AddSlices(Operations& list) {
  using Calculate = void (*)(MTH_3D_VECT_DOUBLE*, short*, short*, double*, double*);
  const std::pair<const char*, Calculate> functions[] = {{"Perp", Mth_3D_CalculParamCoupePerp},
                                                         {"Vert", Mth_3D_CalculParamCoupeVert},
                                                         {"Obliq", Mth_3D_CalculParamCoupeObliq}};
  for (const auto& [name, calculate] : functions) {
    list.push_back(
        {std::string("geometry/Mth_3D_CalculParamCoupe") + name, [calculate = calculate](Trial& t) {
           for (const auto& p : Points(60, 900)) {
             MTH_3D_VECT_DOUBLE normal(p);
             short codes[2] = {};
             double angles[2] = {};
             t([&] { calculate(&normal, &codes[0], &codes[1], &angles[0], &angles[1]); });
             t.Count(codes, 2);
             t.Count(angles, 2);
             Orient_Coupe_Irm slice = {0, "SAG", " ", " ", 0, 0, 0.0};
             t([&] { Mth_3D_Trans_Cod_IRM(codes[0], codes[1], angles[0], angles[1], &slice); });
             t.CountAll(slice.tiltCount, slice.orientation, slice.firstTilt, slice.secondTilt,
                        slice.firstAngle, slice.secondAngle, slice.shift);
           }
         }});
  }
  list.push_back({"geometry/Mth_3D_CalculShiftmean", [](Trial& t) {
                    const auto points = Points(2, 901);
                    for (const char* plane : {"SAG", "COR", "AXI", " "}) {
                      Orient_Coupe_Irm slice = {0, "", "", "", 0, 0, 0.5};
                      for (int i = 0; plane[i] != '\0'; ++i) slice.orientation[i] = plane[i];
                      t([&] { Mth_3D_CalculShiftmean(points[0], points[1], &slice); });
                      t.Count(slice.shift);
                    }
                  }});
}

struct Line {
  explicit Line(unsigned seed) {
    const auto v = Values(6, seed, -20.0, 20.0);
    for (std::size_t i = 0; i < 6; ++i) ends[i / 3][i % 3] = v[i];
  }
  double ends[2][3];
};

void AddLinesAndPlanes(Operations& list) {
  list.push_back(
      {"geometry/Mth_3D_ShortSegmentBetweenLines", [](Trial& t) {
         for (unsigned seed = 910; seed < 930; ++seed) {
           Line first(seed);
           Line second(seed + 100);
           double segment[2][3] = {};
           double mu[2] = {};
           double middle[3] = {};
           t([&] { return Mth_3D_ShortSegmentBetweenLines(first.ends, second.ends, segment, mu); });
           t.Count(segment[0], 3);
           t.Count(segment[1], 3);
           t.Count(mu, 2);
           t([&] { return Mth_3D_LinesIntersection(first.ends, second.ends, middle); });
           t.Count(middle, 3);
         }
       }});
  list.push_back(
      {"geometry/Mth_3D_CalculCoeffPlan", [](Trial& t) {
         for (const int count : {3, 4, 30}) {
           auto points = Points(count, 930);
           double coefficients[4] = {};
           t([&] { return Mth_3D_CalculCoeffPlan(points.data(), static_cast<short>(count), coefficients); });
           t.Count(coefficients, 4);
         }
       }});
  list.push_back({"geometry/Mth_3D_PointProjectionOnPlan", [](Trial& t) {
                    auto points = Points(40, 931);
                    for (std::size_t i = 0; i + 4 <= points.size(); ++i) {
                      MTH_3D_DOUBLE foot;
                      t([&] { return Mth_3D_PointProjectionOnPlan(&points[i], points[i + 3], &foot); });
                      t.Count(foot);
                    }
                  }});
  list.push_back({"geometry/Mth_3D_PointDiffToNormal", [](Trial& t) {
                    auto points = Points(40, 932);
                    for (std::size_t i = 0; i + 3 <= points.size(); ++i)
                      t([&] { return Mth_3D_PointDiffToNormal(&points[i], points[i + 1], points[i + 2]); });
                  }});
  list.push_back(
      {"geometry/Mth_3D_PointProjectionOnSegment", [](Trial& t) {
         auto points = Points(40, 933);
         for (std::size_t i = 0; i + 3 <= points.size(); ++i) {
           MTH_3D_DOUBLE foot;
           double parameter = 0.0;
           t([&] { return Mth_3D_PointProjectionOnSegment(&points[i], &points[i + 1], &foot, &parameter); });
           t.CountAll(foot, parameter);
         }
       }});
}

void AddPointSets(Operations& list) {
  for (const int count : {1, 7, 60, 900}) {
    list.push_back({"geometry/Mth_Hausdorff_Distance/" + std::to_string(count), [count](Trial& t) {
                      auto a = Points(count, 940);
                      auto b = Points(count + 3, 941);
                      t([&] { return Mth_Hausdorff_Distance(a.data(), b.data(), count, count + 3); }, -1);
                      MTH_POINTER_LIST<MTH_3D_DOUBLE> listA;
                      MTH_POINTER_LIST<MTH_3D_DOUBLE> listB;
                      for (auto& point : a) listA.Add(&point);
                      for (auto& point : b) listB.Add(&point);
                      t([&] { return Mth_Hausdorff_Distance(&listA, &listB); }, -1);
                    }});
  }
  list.push_back({"geometry/Mth_ApplyTransformationToSet", [](Trial& t) {
                    auto points = Points(33, 942);
                    auto rotation = Values(3, 943, -90.0, 90.0);
                    auto translation = Values(3, 944);
                    const std::unique_ptr<MTH_3D_DOUBLE[]> moved(t.Run([&] {
                      return Mth_ApplyTransformationToSet(points.data(), 33, rotation.data(),
                                                          translation.data());
                    }));
                    t.Count(moved.get(), 33);
                  }});
  list.push_back({"pointer_list/Sort", [](Trial& t) {
                    auto points = Points(70, 945);
                    MTH_POINTER_LIST<MTH_3D_DOUBLE> sorted;
                    for (auto& point : points) t([&] { return sorted.Insert(0, &point); });
                    t([&] { sorted.Sort(Mth_SortXCroissant); });
                    t([&] { return sorted.Delete(3); });
                    for (const MTH_3D_DOUBLE* point : sorted) t.Count(*point);
                  }});
}

void CountTransform(Trial& t, const MTH_MATRIX_CHGREF& transform) {
  double q[4] = {};
  double r[3] = {};
  double shift[3] = {};
  t.Run([&] { transform.GetQuaternion(q), transform.GetRotation(r), transform.GetTranslation(shift); });
  t.Count(static_cast<const MTH_MATRIX&>(transform));
  t.Count(q, 4);
  t.Count(r, 3);
  t.Count(shift, 3);
  MTH_3D_DOUBLE mapped;
  t([&] { return transform.ChangeRef(MTH_3D_DOUBLE(1.5, -2.25, 3.125), &mapped); });
  t.CountAll(mapped, transform.GetCost(), transform.GetDimension());
}

// Both sets of a rigid transform that only whole numbers go into: a quarter turn, a shift and a little noise.
struct MatchedSets {
  explicit MatchedSets(int n) : count(n), first(Points(n, 950)) {
    Numbers noise(951);
    for (const auto& p : first) {
      const double x = -p.GetY() + 4.0 + noise() / 64.0;
      const double y = p.GetX() - 7.0 + noise() / 64.0;
      second.emplace_back(x, y, p.GetZ() + 2.5);
    }
  }
  int count;
  std::vector<MTH_3D_DOUBLE> first;
  std::vector<MTH_3D_DOUBLE> second;
};

void AddTransforms(Operations& list) {
  list.push_back({"geometry/chgref/ComputeFromRotTrans", [](Trial& t) {
                    for (unsigned seed = 960; seed < 980; ++seed) {
                      auto rotation = Values(3, seed, -170.0, 170.0);
                      auto translation = Values(3, seed + 50, -9.0, 9.0);
                      std::optional<MTH_MATRIX_CHGREF> transform;
                      t([&] { transform.emplace(rotation.data(), translation.data()); });
                      t([&] { transform->ComputeFromRotTrans(); });
                      CountTransform(t, *transform);
                      t([&] { transform->ExtractAngles(); });
                      CountTransform(t, *transform);
                    }
                  }});
  list.push_back({"geometry/chgref/ComputeFromQuaternion", [](Trial& t) {
                    for (unsigned seed = 980; seed < 1000; ++seed) {
                      auto quaternion = Values(7, seed);
                      float matrix[16] = {};
                      std::optional<MTH_MATRIX_CHGREF> transform;
                      t([&] { transform.emplace(quaternion.data()); });
                      t([&] { transform->Normalize(); });
                      t([&] { transform->ComputeFromQuaternion(); });
                      CountTransform(t, *transform);
                      t([&] { transform->glMatrixComputeFromQuaternion(matrix); });
                      t.Count(matrix, 16);
                    }
                  }});
  list.push_back({"geometry/chgref/FromAxisAngle", [](Trial& t) {
                    for (unsigned seed = 1000; seed < 1020; ++seed) {
                      float axis[3] = {0.48f, 0.6f, 0.64f};
                      const float angle = FloatValues(1, seed, -170.0, 170.0)[0];
                      double q[4] = {};
                      std::optional<MTH_MATRIX_CHGREF> transform;
                      t([&] { transform.emplace(axis, angle); });
                      t([&] { transform->FromAxisAngle(axis, angle, q); });
                      t.Count(q, 4);
                      t([&] { transform->MultQuaternion(axis, 2.0f * angle); });
                      auto a = Values(4, seed + 50);
                      auto b = Values(4, seed + 80);
                      CountTransform(t, *transform);
                      float turned[3] = {};
                      float by = 0.0f;
                      t([&] { transform->ToAxisAngle(turned, by); });
                      t.Count(turned, 3);
                      t.Count(by);
                      t([&] { transform->MultQuaternion(a.data(), b.data()); });
                      CountTransform(t, *transform);
                    }
                  }});
  list.push_back({"geometry/chgref/multiply", [](Trial& t) {
                    auto first = Values(3, 1020, -80.0, 80.0);
                    auto second = Values(3, 1021, -80.0, 80.0);
                    auto translation = Values(3, 1022);
                    MTH_MATRIX_CHGREF a(first.data(), translation.data());
                    MTH_MATRIX_CHGREF b(second.data(), translation.data());
                    a.ComputeFromRotTrans();
                    b.ComputeFromRotTrans();
                    const std::unique_ptr<MTH_MATRIX_CHGREF> product(t.Run([&] { return a * b; }));
                    if (product != nullptr) CountTransform(t, *product);
                    const MTH_3D_VECT_DOUBLE axes[] = {{1.0, 0.0, 0.5}, {0.25, 2.0, 0.0}, {0.0, 0.5, 1.0}};
                    const MTH_MATRIX_CHGREF frame(axes[0], axes[1], axes[2], MTH_3D_DOUBLE(1.0, 2.0, 3.0));
                    CountTransform(t, frame);
                  }});
}

void AddAngles(Operations& list) {
  list.push_back({"geometry/chgref/SetAnglesRadians", [](Trial& t) {
                    for (unsigned seed = 1030; seed < 1050; ++seed) {
                      auto angles = Values(3, seed, -1.5, 1.5);
                      auto translation = Values(3, seed + 50, -9.0, 9.0);
                      MTH_MATRIX_CHGREF transform;
                      transform.SetTranslation(translation.data());
                      t([&] { transform.SetAnglesRadians(angles.data()); });
                      CountTransform(t, transform);
                      double back[3] = {};
                      t([&] { transform.GetAnglesRadians(back); });
                      t.Count(back, 3);
                    }
                  }});
}

void AddEstimations(Operations& list) {
  for (const int count : {3, 4, 21}) {
    const std::string size = std::to_string(count);
    list.push_back({"geometry/chgref/ComputeFromSetsByQuaternion/" + size, [count](Trial& t) {
                      MatchedSets sets(count);
                      MTH_MATRIX_CHGREF transform(count, sets.first.data(), sets.second.data());
                      t([&] { return transform.ComputeFromSetsByQuaternion(); });
                      CountTransform(t, transform);
                      std::vector<MTH_3D_DOUBLE> mapped(sets.first.size());
                      t([&] { transform.ChangeRefCost(true, mapped.data()); });
                      t.CountAll(mapped, transform.GetCost());
                    }});
    list.push_back({"geometry/chgref/Initialise/" + size, [count](Trial& t) {
                      MatchedSets sets(count);
                      MTH_MATRIX_CHGREF transform(count, sets.first.data(), sets.second.data());
                      t([&] { return transform.Initialise(sets.first.data(), sets.second.data()); });
                      CountTransform(t, transform);
                    }});
    list.push_back({"geometry/chgref/OptimiseMeanDistance/" + size, [count](Trial& t) {
                      MatchedSets sets(count);
                      MTH_MATRIX_CHGREF transform(count, sets.first.data(), sets.second.data());
                      t([&] { return transform.OptimiseMeanDistance(); });
                      CountTransform(t, transform);
                    }});
    list.push_back({"geometry/chgref/ComputeWithoutOutliers/" + size, [count](Trial& t) {
                      MatchedSets sets(count);
                      sets.second[1].SetX(300.0);
                      MTH_MATRIX_CHGREF transform(count, sets.first.data(), sets.second.data());
                      auto isOutlier = std::make_unique<bool[]>(sets.first.size());
                      t([&] { return transform.ComputeWithoutOutliers(isOutlier.get()); });
                      CountTransform(t, transform);
                    }});
    list.push_back({"geometry/chgref/Optimise/" + size, [count](Trial& t) {
                      MatchedSets sets(count);
                      MTH_MATRIX_CHGREF transform(count, sets.first.data(), sets.second.data());
                      transform.ComputeFromSetsByQuaternion();
                      t([&] { return transform.Optimise(); });
                      CountTransform(t, transform);
                      t([&] { return transform.ComputeByGeometricMethod(); });
                      CountTransform(t, transform);
                    }});
  }
}

}  // namespace

void AddGeometryOperations(Operations& list) {
  AddSlices(list);
  AddLinesAndPlanes(list);
  AddPointSets(list);
  AddTransforms(list);
  AddAngles(list);
  AddEstimations(list);
}

}  // namespace mth_test
