// The peer of the field that the division into tissues finds: ITK's N4 on raw 32-bit floats.
//   value_n4 NX NY NZ IMAGE MASK CORRECTED

#include <itkImage.h>
#include <itkMultiThreaderBase.h>
#include <itkN4BiasFieldCorrectionImageFilter.h>
#include <itkShrinkImageFilter.h>

#include <algorithm>
#include <cmath>
#include <cstdlib>
#include <fstream>
#include <vector>

namespace {

using Image = itk::Image<float, 3>;
using Mask = itk::Image<unsigned char, 3>;

template <class T>
typename T::Pointer MakeImage(const std::vector<float>& values, const Image::SizeType& size) {
  auto image = T::New();
  image->SetRegions(size);
  image->Allocate();
  std::transform(values.begin(), values.end(), image->GetBufferPointer(),
                 [](float value) { return static_cast<typename T::PixelType>(value); });
  return image;
}

template <class T>
typename T::Pointer Shrunk(T* image) {
  auto shrink = itk::ShrinkImageFilter<T, T>::New();
  shrink->SetInput(image);
  shrink->SetShrinkFactors(2);
  shrink->Update();
  return shrink->GetOutput();
}

std::vector<float> Read(const char* path, std::size_t count) {
  std::vector<float> values(count);
  std::ifstream(path, std::ios::binary)
      .read(reinterpret_cast<char*>(values.data()), static_cast<std::streamsize>(count * sizeof(float)));
  return values;
}

}  // namespace

int main(int count, char** texts) {
  if (count != 7) return 2;
  itk::MultiThreaderBase::SetGlobalDefaultNumberOfThreads(1);
  Image::SizeType size;
  for (unsigned axis = 0; axis < 3; ++axis) size[axis] = std::strtoul(texts[1 + axis], nullptr, 10);
  const std::size_t voxels = size[0] * size[1] * size[2];
  const std::vector<float> values = Read(texts[4], voxels);
  const auto image = MakeImage<Image>(values, size);
  const auto mask = MakeImage<Mask>(Read(texts[5], voxels), size);

  using Filter = itk::N4BiasFieldCorrectionImageFilter<Image, Mask, Image>;
  auto filter = Filter::New();
  filter->SetInput(Shrunk(image.GetPointer()));
  filter->SetMaskImage(Shrunk(mask.GetPointer()));
  Filter::VariableSizeArrayType iterations(4);
  iterations.Fill(50);
  filter->SetNumberOfFittingLevels(4);
  filter->SetMaximumNumberOfIterations(iterations);
  filter->Update();
  const auto field = filter->ReconstructBiasField(filter->GetLogBiasFieldControlPointLattice());

  std::vector<float> corrected(voxels);
  for (std::size_t i = 0; i < voxels; ++i) {
    const Image::IndexType place{static_cast<long>(i % size[0]), static_cast<long>(i / size[0] % size[1]),
                                 static_cast<long>(i / size[0] / size[1])};
    Image::IndexType half;
    const auto last = field->GetLargestPossibleRegion().GetSize();
    for (unsigned axis = 0; axis < 3; ++axis)
      half[axis] = std::min<long>(place[axis] / 2, static_cast<long>(last[axis]) - 1);
    corrected[i] = values[i] / std::exp(field->GetPixel(half));
  }
  std::ofstream(texts[6], std::ios::binary)
      .write(reinterpret_cast<const char*>(corrected.data()),
             static_cast<std::streamsize>(voxels * sizeof(float)));
  return 0;
}
