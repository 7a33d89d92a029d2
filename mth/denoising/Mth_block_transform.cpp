#include <algorithm>
#include <array>
#include <cstddef>

#include "mth/core/Mth_work_array_internal.h"
#include "mth/denoising/Mth_block_transform_internal.h"

#define MTH_KERNEL_FILE "mth/denoising/Mth_block_transform_loops_internal.h"
#include "mth/core/Mth_for_each_instruction_set_internal.h"

namespace mth_internal {
namespace {

constexpr std::int64_t kSlack = 16;  // floats that the widest vector may read or write beyond a row
constexpr int kLongestSide = 6;

using TransformFunction = void (*)(const float* const*, float*, std::int64_t, std::int64_t);
using BackFunction = void (*)(const float*, std::int64_t, float* const*, std::int64_t);
using FilterFunction = void (*)(const BlockRow&);

// One axis of the grid of blocks. Blocks begin before the first voxel, so that every voxel is in as many.
struct BlockAxis {
  std::int64_t count;  // voxels
  int side;            // 1 when the axis takes no part
  int step;

  std::int64_t First() const { return step - side; }
  std::int64_t Positions() const { return (count - 1 - First()) / step + 1; }
  std::int64_t Samples() const { return (Positions() - 1) * step + side; }
};

struct BlockKernels {
  BlockAxis x;
  BlockAxis y;
  BlockAxis z;
  TransformFunction transformY;
  TransformFunction transformZ;
  BackFunction backY;
  BackFunction backZ;
  FilterFunction filter;
};

template <int kSide, int kStep, int kSideY, int kSideZ, bool kHasGuide>
BlockKernels KernelsFor(const VolumeSize& size) {
  constexpr int kLines = kSideY * kSideZ;
  return {{size.x, kSide, kStep},
          {size.y, kSideY, kSideY == 1 ? 1 : kStep},
          {size.z, kSideZ, kSideZ == 1 ? 1 : kStep},
          MTH_SELECT(TransformRows<kSideY>),
          MTH_SELECT(TransformRows<kSideZ>),
          MTH_SELECT(AddRowsBack<kSideY>),
          MTH_SELECT(AddRowsBack<kSideZ>),
          MTH_SELECT(FilterBlocks<kSide, kStep, kLines, kHasGuide>)};
}

// By how many axes there are: a volume, a plane or a line.
template <int kSide, int kStep, bool kHasGuide>
BlockKernels KernelsByAxes(const VolumeSize& size) {
  if (size.z > 1) return KernelsFor<kSide, kStep, kSide, kSide, kHasGuide>(size);
  if (size.y > 1) return KernelsFor<kSide, kStep, kSide, 1, kHasGuide>(size);
  return KernelsFor<kSide, kStep, 1, 1, kHasGuide>(size);
}

BlockKernels KernelsByKind(const VolumeSize& size, BlockKind kind) {
  switch (kind) {
    case BlockKind::Small:
      return KernelsByAxes<4, 1, false>(size);
    case BlockKind::Large:
      return KernelsByAxes<6, 2, false>(size);
    default:
      return KernelsByAxes<4, 1, true>(size);
  }
}

std::int64_t RoundedUp(std::int64_t count) {
  return (count + kSlack - 1) / kSlack * kSlack;
}

// Rows of samples as the kernels want them: sorted by their place modulo the step, with room for the mirror
// image beyond both ends.
class RowLayout {
 public:
  explicit RowLayout(const BlockAxis& axis)
      : axis_(axis), half_(RoundedUp(axis.Positions()) + kSlack), stride_(half_ * axis.step) {}

  std::int64_t Half() const { return half_; }
  std::int64_t Stride() const { return stride_; }

  void Spread(const float* row, float* out) const {
    for (std::int64_t phase = 0; phase < axis_.step; ++phase) {
      for (std::int64_t i = 0; i * axis_.step + phase < axis_.Samples(); ++i) {
        const std::int64_t x = i * axis_.step + phase + axis_.First();
        const bool isInside = x >= 0 && x < axis_.count;
        out[phase * half_ + i] = row[isInside ? x : MirroredIndex(x, axis_.count)];
      }
    }
  }
  void AddTo(const float* samples, float* row) const {
    for (std::int64_t x = 0; x < axis_.count; ++x) {
      const std::int64_t sample = x - axis_.First();
      row[x] += samples[sample % axis_.step * half_ + sample / axis_.step];
    }
  }

 private:
  BlockAxis axis_;
  std::int64_t half_;
  std::int64_t stride_;
};

// The pass: slabs of planes are transformed along z, their rows along y, and the kernel does the rest.
class BlockPass {
 public:
  BlockPass(const VolumeSize& size, const BlockKernels& kernels, float level)
      : size_(size),
        kernels_(kernels),
        layout_(kernels.x),
        level_(level),
        lines_(std::int64_t{kernels.y.side} * kernels.z.side),
        slabSize_(size.y * layout_.Stride()),
        slab_(kernels.z.side * slabSize_ + kSlack),
        guideSlab_(kernels.z.side * slabSize_ + kSlack),
        sums_(kernels.z.side * slabSize_ + kSlack),
        weightSums_(slabSize_ + kSlack),
        rows_(std::int64_t{kLongestSide} * layout_.Stride() + kSlack),
        blockLines_(2 * lines_ * layout_.Stride() + kSlack),
        samples_(lines_ * kernels.x.side * layout_.Half() + 2 * kSlack),
        blockWeights_(layout_.Half() + layout_.Stride() + 2 * kSlack) {
    if (!*this) return;
    // What is beyond the ends of rows is computed too, and thrown away.
    for (const auto* array : {&slab_, &guideSlab_})
      std::fill_n(array->Get(), kernels.z.side * slabSize_ + kSlack, 0.0F);
    std::fill_n(rows_.Get(), kLongestSide * layout_.Stride() + kSlack, 0.0F);
    std::fill_n(blockLines_.Get(), 2 * lines_ * layout_.Stride() + kSlack, 0.0F);
    std::fill_n(samples_.Get(), lines_ * kernels.x.side * layout_.Half() + 2 * kSlack, 0.0F);
    std::fill_n(blockWeights_.Get(), layout_.Half() + layout_.Stride() + 2 * kSlack, 0.0F);
  }
  explicit operator bool() const {
    return slab_ && guideSlab_ && sums_ && weightSums_ && rows_ && blockLines_ && samples_ && blockWeights_;
  }

  // The blocks that begin at one position along z.
  void Run(std::int64_t position, const float* values, const float* guide, float* result,
           float* weights) const {
    const std::int64_t first = kernels_.z.First() + position * kernels_.z.step;
    TransformSlab(first, values, slab_.Get());
    if (guide != nullptr) TransformSlab(first, guide, guideSlab_.Get());
    std::fill_n(sums_.Get(), kernels_.z.side * slabSize_ + kSlack, 0.0F);
    std::fill_n(weightSums_.Get(), slabSize_ + kSlack, 0.0F);
    for (std::int64_t y = 0; y < kernels_.y.Positions(); ++y)
      FilterRow(kernels_.y.First() + y * kernels_.y.step, guide != nullptr);
    AddSlab(first, result, weights);
  }

 private:
  void TransformSlab(std::int64_t first, const float* values, float* slab) const {
    for (std::int64_t y = 0; y < size_.y; ++y) {
      std::array<const float*, kLongestSide> from{};
      for (int k = 0; k < kernels_.z.side; ++k) {
        float* const row = rows_.Get() + k * layout_.Stride();
        layout_.Spread(values + size_.Row(y, MirroredIndex(first + k, size_.z)), row);
        from[static_cast<std::size_t>(k)] = row;
      }
      kernels_.transformZ(from.data(), slab + y * layout_.Stride(), slabSize_, layout_.Stride());
    }
  }

  // Lines of the blocks that begin at row `first`: line k * side + l has the coefficients k along z and l
  // along y.
  void TransformLines(const float* slab, std::int64_t first, float* lines) const {
    for (int k = 0; k < kernels_.z.side; ++k) {
      std::array<const float*, kLongestSide> from{};
      for (int l = 0; l < kernels_.y.side; ++l)
        from[static_cast<std::size_t>(l)] =
            slab + k * slabSize_ + MirroredIndex(first + l, size_.y) * layout_.Stride();
      kernels_.transformY(from.data(), lines + std::int64_t{k} * kernels_.y.side * layout_.Stride(),
                          layout_.Stride(), layout_.Stride());
    }
  }

  void FilterRow(std::int64_t first, bool hasGuide) const {
    float* const lines = blockLines_.Get();
    float* const guideLines = lines + lines_ * layout_.Stride();
    float* const sumOfWeights = blockWeights_.Get() + kSlack + layout_.Half();
    TransformLines(slab_.Get(), first, lines);
    if (hasGuide) TransformLines(guideSlab_.Get(), first, guideLines);
    kernels_.filter({lines, hasGuide ? guideLines : nullptr, samples_.Get() + kSlack,
                     blockWeights_.Get() + kSlack, sumOfWeights, layout_.Stride(), layout_.Half(),
                     kernels_.x.Positions(), level_});
    for (int l = 0; l < kernels_.y.side; ++l) {
      if (IsRow(first + l)) MTH_SELECT(AddRow)
      (sumOfWeights, layout_.Stride(), weightSums_.Get() + (first + l) * layout_.Stride());
    }
    for (int k = 0; k < kernels_.z.side; ++k) {
      std::array<float*, kLongestSide> to{};
      for (int l = 0; l < kernels_.y.side; ++l) {
        if (IsRow(first + l))
          to[static_cast<std::size_t>(l)] = sums_.Get() + k * slabSize_ + (first + l) * layout_.Stride();
      }
      kernels_.backY(lines + std::int64_t{k} * kernels_.y.side * layout_.Stride(), layout_.Stride(),
                     to.data(), layout_.Stride());
    }
  }

  void AddSlab(std::int64_t first, float* result, float* weights) const {
    for (std::int64_t y = 0; y < size_.y; ++y) {
      std::array<float*, kLongestSide> to{};
      std::fill_n(rows_.Get(), kernels_.z.side * layout_.Stride(), 0.0F);
      for (int k = 0; k < kernels_.z.side; ++k)
        to[static_cast<std::size_t>(k)] = rows_.Get() + k * layout_.Stride();
      kernels_.backZ(sums_.Get() + y * layout_.Stride(), slabSize_, to.data(), layout_.Stride());
      for (int k = 0; k < kernels_.z.side; ++k) {
        const std::int64_t z = first + k;
        if (z < 0 || z >= size_.z) continue;
        layout_.AddTo(to[static_cast<std::size_t>(k)], result + size_.Row(y, z));
        layout_.AddTo(weightSums_.Get() + y * layout_.Stride(), weights + size_.Row(y, z));
      }
    }
    // What was added beyond the ends of rows would grow from slab to slab until it overflows.
    std::fill_n(rows_.Get(), kernels_.z.side * layout_.Stride(), 0.0F);
  }

  bool IsRow(std::int64_t y) const { return y >= 0 && y < size_.y; }

  VolumeSize size_;
  BlockKernels kernels_;
  RowLayout layout_;
  float level_;
  std::int64_t lines_;
  std::int64_t slabSize_;
  WorkArray<float> slab_;
  WorkArray<float> guideSlab_;
  WorkArray<float> sums_;
  WorkArray<float> weightSums_;
  WorkArray<float> rows_;
  WorkArray<float> blockLines_;
  WorkArray<float> samples_;
  WorkArray<float> blockWeights_;
};

}  // namespace

MTH_STOP_REASON FilterBlocksOfVolume(const VolumeSize& size, BlockKind kind, float level, const float* values,
                                     const float* guide, float* result, float* weights, RunWatch& watch) {
  const BlockKernels kernels = KernelsByKind(size, kind);
  const BlockPass pass(size, kernels, level);
  if (!pass) return MTH_STOP_REASON::NoMemory;
  std::fill_n(result, size.Count(), 0.0F);
  std::fill_n(weights, size.Count(), 0.0F);
  for (std::int64_t z = 0; z < kernels.z.Positions(); ++z) {
    if (!watch.GoesOn()) return MTH_STOP_REASON::Cancelled;
    pass.Run(z, values, guide, result, weights);
  }
  for (std::int64_t i = 0; i < size.Count(); ++i) result[i] /= weights[i];
  return MTH_STOP_REASON::Converged;
}

std::int64_t CountBlockPlanes(const VolumeSize& size, BlockKind kind) {
  return KernelsByKind(size, kind).z.Positions();
}

}  // namespace mth_internal
