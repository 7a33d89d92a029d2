#include "support/operations/operations.h"

// Points, vectors and complex numbers.

namespace mth_test {
namespace {

// Three numbers of the type, each other for each place.
template <class T>
std::vector<T> Coordinates(unsigned seed) {
  const auto values = Values(30, seed, -900.0, 900.0);
  std::vector<T> coordinates;
  for (const double value : values) coordinates.push_back(static_cast<T>(value));
  return coordinates;
}

template <class T>
void AddPointOperations(Operations& list, const std::string& type) {
  list.push_back({"value/2d/Set2DCoord/" + type, [](Trial& t) {
                    const auto c = Coordinates<T>(1);
                    MTH_2D_POINT<T> point;
                    t([&] { point.Set2DCoord(c[0], c[1]); });
                    t.Count(point);
                    t([&] { point.SetX(c[2]), point.SetY(c[3]); });
                    t.CountAll(point, point == MTH_2D_POINT<T>(c[2], c[3]),
                               point == MTH_2D_POINT<T>(c[0], c[3]));
                  }});
  list.push_back({"value/2d/Distance/" + type, [](Trial& t) {
                    const auto c = Coordinates<T>(2);
                    for (std::size_t i = 0; i + 4 <= c.size(); ++i) {
                      const MTH_2D_POINT<T> a(c[i], c[i + 1]);
                      t([&] { return a.Distance(MTH_2D_POINT<T>(c[i + 2], c[i + 3])); });
                    }
                  }});
  list.push_back({"value/3d/Set3DCoord/" + type, [](Trial& t) {
                    const auto c = Coordinates<T>(3);
                    MTH_3D_POINT<T> point;
                    t([&] { point.Set3DCoord(c[0], c[1], c[2]); });
                    t.Count(point);
                    t([&] { point.SetX(c[3]), point.SetY(c[4]), point.SetZ(c[5]); });
                    t.CountAll(point, point == MTH_3D_POINT<T>(c[3], c[4], c[5]));
                  }});
  list.push_back({"value/3d/Distance/" + type, [](Trial& t) {
                    const auto c = Coordinates<T>(4);
                    for (std::size_t i = 0; i + 6 <= c.size(); ++i) {
                      const MTH_3D_POINT<T> a(c[i], c[i + 1], c[i + 2]);
                      t([&] { return a.Distance(MTH_3D_POINT<T>(c[i + 3], c[i + 4], c[i + 5])); });
                    }
                  }});
}

template <class T>
std::vector<MTH_3D_VECTOR<T>> Vectors(unsigned seed) {
  const auto c = Coordinates<T>(seed);
  std::vector<MTH_3D_VECTOR<T>> vectors;
  for (std::size_t i = 0; i + 3 <= c.size(); i += 3) vectors.emplace_back(c[i], c[i + 1], c[i + 2]);
  return vectors;
}

template <class T>
void AddVectorOperations(Operations& list, const std::string& type) {
  list.push_back({"value/vector/construct/" + type, [](Trial& t) {
                    const auto c = Coordinates<T>(5);
                    const MTH_3D_POINT<T> first(c[0], c[1], c[2]);
                    const MTH_3D_POINT<T> second(c[3], c[4], c[5]);
                    t([&] { return MTH_3D_VECTOR<T>(); });
                    t([&] { return MTH_3D_VECTOR<T>(c[6], c[7], c[8]); });
                    t([&] { return MTH_3D_VECTOR<T>(first); });
                    t([&] { return MTH_3D_VECTOR<T>(first, second); });
                    MTH_3D_VECTOR<T> assigned;
                    const MTH_3D_VECTOR<T> copied(second);
                    t([&] { assigned = copied; });
                    t.CountAll(assigned, MTH_3D_VECTOR<T>(assigned));
                  }});
  list.push_back({"value/vector/dot/" + type, [](Trial& t) {
                    const auto v = Vectors<T>(6);
                    for (std::size_t i = 1; i < v.size(); ++i) t([&] { return v[i - 1] * v[i]; });
                  }});
  list.push_back({"value/vector/cross/" + type, [](Trial& t) {
                    const auto v = Vectors<T>(7);
                    for (std::size_t i = 1; i < v.size(); ++i) t([&] { return v[i - 1] ^ v[i]; });
                  }});
  list.push_back({"value/vector/Normalise/" + type, [](Trial& t) {
                    auto vectors = Vectors<T>(8);
                    for (auto& v : vectors) t([&] { v.Normalise(); });
                    t.Count(vectors);
                  }});
}

using ComplexOperation = MTH_COMPLEX* (*)(const MTH_COMPLEX&, const MTH_COMPLEX&);

void AddComplexOperations(Operations& list) {
  const std::pair<const char*, ComplexOperation> operations[] = {
      {"add", [](const MTH_COMPLEX& a, const MTH_COMPLEX& b) { return a + b; }},
      {"subtract", [](const MTH_COMPLEX& a, const MTH_COMPLEX& b) { return a - b; }},
      {"multiply", [](const MTH_COMPLEX& a, const MTH_COMPLEX& b) { return a * b; }},
      {"divide", [](const MTH_COMPLEX& a, const MTH_COMPLEX& b) { return a / b; }},
      {"scale", [](const MTH_COMPLEX& a, const MTH_COMPLEX& b) { return a * b.getReal(); }},
      {"sqrt_complex", [](const MTH_COMPLEX& a, const MTH_COMPLEX&) { return a.sqrt_complex(); }},
      {"sqr_complex", [](const MTH_COMPLEX& a, const MTH_COMPLEX&) { return a.sqr_complex(); }}};
  for (const auto& [name, operation] : operations) {
    list.push_back({std::string("value/complex/") + name, [operation = operation](Trial& t) {
                      const auto c = Values(60, 9, -30.0, 30.0);
                      for (std::size_t i = 0; i + 4 <= c.size(); ++i)
                        t([&] { return operation({c[i], c[i + 1]}, {c[i + 2], c[i + 3]}); });
                    }});
  }
  list.push_back({"value/complex/module", [](Trial& t) {
                    const auto c = Values(60, 10, -30.0, 30.0);
                    for (std::size_t i = 1; i < c.size(); ++i)
                      t([&] { return MTH_COMPLEX(c[i - 1], c[i]).module(); });
                  }});
  list.push_back({"value/complex/phase", [](Trial& t) {
                    const auto c = Values(60, 11, -30.0, 30.0);
                    for (std::size_t i = 1; i < c.size(); ++i)
                      t([&] { return MTH_COMPLEX(c[i - 1], c[i]).phase(); });
                  }});
}

}  // namespace

void AddValueOperations(Operations& list) {
  AddPointOperations<double>(list, "double");
  AddPointOperations<float>(list, "float");
  AddPointOperations<int>(list, "int");
  AddVectorOperations<double>(list, "double");
  AddVectorOperations<float>(list, "float");
  AddVectorOperations<int>(list, "int");
  AddComplexOperations(list);
  list.push_back({"value/3d/Distance_hyp/double", [](Trial& t) {
                    const auto points = Points(20, 12);
                    for (std::size_t i = 1; i < points.size(); ++i)
                      t([&] { return points[i - 1].Distance_hyp(points[i], 0.75, 0.25); });
                  }});
  list.push_back({"value/vector/subtract/double", [](Trial& t) {
                    const auto v = Vectors<double>(13);
                    for (std::size_t i = 1; i < v.size(); ++i) t([&] { return v[i - 1] - v[i]; });
                  }});
  list.push_back({"value/vector/scale/double", [](Trial& t) {
                    for (const auto& v : Vectors<double>(14)) {
                      t([&] { return v * 0.3; });
                      t([&] { return v * 0.3f; });
                      t([&] { return v * 3; });
                    }
                  }});
}

}  // namespace mth_test
