#include <array>
#include <exception>
#include <optional>
#include <string>

#include "mth/clustering/Mth_clustering.h"
#include "mth/core/Mth_text_file_internal.h"

// The text files that a converged evidential run leaves behind.

using mth_internal::TextWriter;

namespace {

constexpr int kDecimals = 6;
constexpr int kSampleStep = 3;

// Three files of one hypothesis: a coordinate each.
class CoordinateFiles {
 public:
  CoordinateFiles(const std::string& prefix, const std::string& stem) {
    const char* const axes[] = {"x.txt", "y.txt", "z.txt"};
    for (std::size_t d = 0; d < files_.size(); ++d) files_[d].emplace((prefix + stem + axes[d]).c_str());
  }
  void Add(const MTH_CLUSTERING_SAMPLE& sample) {
    for (std::size_t d = 0; d < files_.size(); ++d) {
      files_[d]->Fixed(sample.GetParameter(static_cast<int>(d)), kDecimals).Text("\n");
    }
  }

 private:
  std::array<std::optional<TextWriter>, 3> files_;
};

void WriteRow(TextWriter& file, const MTH_MATRIX& matrix, int row) {
  for (int j = 0; j < matrix.GetNbCols(); ++j) file.Fixed(matrix.Get(row, j), kDecimals).Text("\t");
  file.Text("\n");
}

void WriteCoordinates(const std::string& prefix, const MTH_CLUSTERING& engine) {
  std::array<CoordinateFiles, 4> files{CoordinateFiles(prefix, "oo"), CoordinateFiles(prefix, "cp"),
                                       CoordinateFiles(prefix, "ct"), CoordinateFiles(prefix, "co")};
  for (int i = 0; i < engine.GetSamplesCount(); i += kSampleStep) {
    const auto hypothesis = static_cast<std::size_t>(engine.MaxBeliefDecision(i));
    if (hypothesis < files.size()) files[hypothesis].Add(*engine.GetSample(i));
  }
}

}  // namespace

void MTH_CLUSTERING::SetDiagnosticPrefix(const std::string& prefix) {
  try {
    diagnosticPrefix_ = prefix;
  } catch (const std::exception&) {  // no memory: the former one stays
  }
}

void MTH_CLUSTERING::WriteDiagnostics() const {
  if (diagnosticPrefix_.empty()) return;
  try {
    TextWriter centers((diagnosticPrefix_ + "centres.txt").c_str());
    for (const MTH_MATRIX* centroid : *centroids_) {
      for (int d = 0; d < dimensionsCount_; ++d) centers.Fixed(centroid->Get(d, 0), kDecimals).Text("\t");
      centers.Text("\n");
    }
    TextWriter masses((diagnosticPrefix_ + "credal_partition.txt").c_str());
    for (int i = 0; i < credalPartition_->GetNbRows(); ++i) WriteRow(masses, *credalPartition_, i);
    WriteCoordinates(diagnosticPrefix_, *this);
  } catch (const std::exception&) {  // no memory for the names: the run itself is done
  }
}
