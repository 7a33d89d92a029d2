#include "support/dicom_stack.h"

#include <algorithm>
#include <cmath>
#include <string>

#include "support/failure.h"
#include "support/nifti_io.h"
#include "support/text.h"

namespace example {

namespace {

constexpr double kSameDirection = 1e-4;  // of cosines; scanners round them differently from slice to slice
constexpr double kSamePlace = 1e-3;      // mm
constexpr double kSameSpacing = 0.01;    // of the spacing: what rounded positions add up to

double Dot(const Vector3& a, const Vector3& b) {
  return a[0] * b[0] + a[1] * b[1] + a[2] * b[2];
}

Vector3 Cross(const Vector3& a, const Vector3& b) {
  return {a[1] * b[2] - a[2] * b[1], a[2] * b[0] - a[0] * b[2], a[0] * b[1] - a[1] * b[0]};
}

Vector3 Along(const Vector3& start, double length, const Vector3& direction) {
  return {start[0] + length * direction[0], start[1] + length * direction[1],
          start[2] + length * direction[2]};
}

double Distance(const Vector3& a, const Vector3& b) {
  return std::hypot(a[0] - b[0], a[1] - b[1], a[2] - b[2]);
}

std::string NameOf(const DicomFrame& frame) {
  return frame.isEnhanced ? "frame " + std::to_string(frame.index + 1) + " of " + frame.path : frame.path;
}

[[noreturn]] void RefusePair(const std::string& what, const DicomFrame& a, const DicomFrame& b) {
  throw Failure(what + ": " + NameOf(a) + " and " + NameOf(b));
}

template <class Numbers>
double LargestDifference(const Numbers& a, const Numbers& b) {
  double largest = 0.0;
  for (std::size_t i = 0; i < a.size(); ++i) largest = std::max(largest, std::abs(a[i] - b[i]));
  return largest;
}

bool TellsPlace(const DicomFrame& frame) {
  return frame.position && frame.alongRow && frame.alongColumn && frame.spacing;
}

void RequireAlike(const DicomFrame& first, const DicomFrame& other) {
  if (first.rows != other.rows || first.columns != other.columns)
    RefusePair("slices of two sizes, " + SizeText({first.columns, first.rows, 1}) + " and " +
                   SizeText({other.columns, other.rows, 1}),
               first, other);
  if (!TellsPlace(other)) throw Failure("no place in the patient in " + NameOf(other));
  if (LargestDifference(*first.alongRow, *other.alongRow) > kSameDirection ||
      LargestDifference(*first.alongColumn, *other.alongColumn) > kSameDirection)
    RefusePair("slices of two directions", first, other);
  if (LargestDifference(*first.spacing, *other.spacing) > kSamePlace)
    RefusePair("slices of two voxel sizes", first, other);
}

void RequireDirections(const DicomFrame& frame) {
  constexpr double kSquare = 1e-3;
  const auto& row = *frame.alongRow;
  const auto& column = *frame.alongColumn;
  const bool isSquare = std::abs(Dot(row, row) - 1.0) <= kSquare &&
                        std::abs(Dot(column, column) - 1.0) <= kSquare &&
                        std::abs(Dot(row, column)) <= kSquare;
  if (!isSquare) throw Failure("no directions at right angles in " + NameOf(frame));
}

// Every distance between neighbours is that of the middle one in size.
void RequireEven(const std::vector<DicomFrame>& slices, const std::vector<double>& heights) {
  std::vector<double> steps;
  for (std::size_t i = 1; i < heights.size(); ++i) {
    steps.push_back(heights[i] - heights[i - 1]);
    if (steps.back() < kSamePlace)
      RefusePair("two slices at the same place (time points? --series and --echo choose)", slices[i - 1],
                 slices[i]);
  }
  std::vector<double> sorted = steps;
  std::nth_element(sorted.begin(), sorted.begin() + static_cast<std::ptrdiff_t>(sorted.size() / 2),
                   sorted.end());
  const double usual = sorted[sorted.size() / 2];
  for (std::size_t i = 0; i < steps.size(); ++i) {
    if (std::abs(steps[i] - usual) <= kSameSpacing * usual) continue;
    const std::string lengths = Rounded(steps[i], 4) + " mm apart, others " + Rounded(usual, 4) + " mm";
    const bool isGap = std::round(steps[i] / usual) >= 2.0;
    RefusePair(
        (isGap ? "a slice is missing between two that are " : "unequal spacing, two slices are ") + lengths,
        slices[i], slices[i + 1]);
  }
}

void RequireStraight(const std::vector<DicomFrame>& slices, const Vector3& step) {
  const double spacing = std::sqrt(Dot(step, step));
  const Vector3& origin = *slices.front().position;
  for (std::size_t i = 0; i < slices.size(); ++i) {
    if (Distance(Along(origin, static_cast<double>(i), step), *slices[i].position) >
        std::max(kSameSpacing * spacing, kSamePlace))
      RefusePair("slices that do not lie on a line", slices.front(), slices[i]);
  }
}

Vector3 StepOf(const std::vector<DicomFrame>& slices, const Vector3& normal) {
  if (slices.size() == 1) {
    const double thickness = slices.front().thickness;
    return Along({0.0, 0.0, 0.0}, thickness > 0.0 ? thickness : 1.0, normal);
  }
  const double scale = 1.0 / static_cast<double>(slices.size() - 1);
  return Along(Along({0.0, 0.0, 0.0}, scale, *slices.back().position), -scale, *slices.front().position);
}

}  // namespace

DicomStack StackSlices(std::vector<DicomFrame> frames) {
  const DicomFrame first = frames.front();
  if (frames.size() == 1 && !TellsPlace(first)) return {std::move(frames), std::nullopt};
  for (const DicomFrame& frame : frames) RequireAlike(first, frame);
  RequireDirections(first);
  const Vector3 normal = Cross(*first.alongRow, *first.alongColumn);
  const auto heightOf = [&](const DicomFrame& frame) { return Dot(*frame.position, normal); };
  std::stable_sort(frames.begin(), frames.end(),
                   [&](const DicomFrame& a, const DicomFrame& b) { return heightOf(a) < heightOf(b); });
  std::vector<double> heights;
  for (const DicomFrame& frame : frames) heights.push_back(heightOf(frame));
  if (frames.size() > 1) RequireEven(frames, heights);
  const Vector3 step = StepOf(frames, normal);
  if (frames.size() > 1) RequireStraight(frames, step);
  const DicomStack::Place place{*frames.front().position,
                                *first.alongRow,
                                *first.alongColumn,
                                step,
                                {(*first.spacing)[0], (*first.spacing)[1], Dot(step, normal)}};
  return {std::move(frames), place};
}

GreyImage GridOf(const DicomStack& stack) {
  const DicomFrame& first = stack.slices.front();
  GreyImage image;
  image.size = {first.columns, first.rows, static_cast<int>(stack.slices.size())};
  image.direction = {0, 'A', 'S'};  // the custom without a place
  if (first.spacing) image.voxelSize = {{(*first.spacing)[0], (*first.spacing)[1], 1.0}};
  if (!stack.place) return image;
  const DicomStack::Place& place = *stack.place;
  image.voxelSize = place.voxelSize;
  const Vector3 corner = Along(place.origin, (first.rows - 1) * place.voxelSize[1], place.alongColumn);
  Affine affine{};
  for (std::size_t axis = 0; axis < 3; ++axis) {
    const double sign = axis < 2 ? -1.0 : 1.0;  // x to the left and y to the back become right and front
    affine[axis] = {sign * place.alongRow[axis] * place.voxelSize[0],
                    -sign * place.alongColumn[axis] * place.voxelSize[1], sign * place.step[axis],
                    sign * corner[axis]};
  }
  image.affine = affine;
  image.direction = DirectionsOf(affine);
  return image;
}

}  // namespace example
