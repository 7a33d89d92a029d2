#include "arrays.h"
#include "call.h"
#include "mth/boosting/Mth_clustering_adaboost.h"

// Boosting: cells of decision trees with a confidence each.

namespace mth_python {
namespace {

using Tree = MTH_CLUSTERING_TREE;
using Cells = MTH_CLUSTERING_ADABOOST::CELLS;

// A condition of a cell: a feature and its lower and upper bound; a cell is the chain of its conditions from
// leaf to root.
using Condition = std::tuple<int, double, double>;
using Cell = std::vector<Condition>;

struct DeleteCells {
  void operator()(Cells* cells) const { MTH_CLUSTERING_ADABOOST::DeleteCells(cells); }
};
using CellsPtr = std::unique_ptr<Cells, DeleteCells>;

std::vector<Cell> ToConditions(const Cells* cells) {
  std::vector<Cell> result;
  for (int i = 0; cells != nullptr && i < cells->GetCount(); ++i) {
    Cell cell;
    for (const Tree* node = cells->Get(i); node != nullptr; node = node->GetParent())
      cell.emplace_back(node->GetFeature(), node->GetLowerBound(), node->GetUpperBound());
    result.push_back(std::move(cell));
  }
  return result;
}

std::unique_ptr<Tree> ToTree(const Cell& cell) {
  std::unique_ptr<Tree> parent;
  for (auto condition = cell.rbegin(); condition != cell.rend(); ++condition) {
    auto node = std::make_unique<Tree>(1);
    node->SetFeature(std::get<0>(*condition));
    node->SetLowerBound(std::get<1>(*condition));
    node->SetUpperBound(std::get<2>(*condition));
    if (parent) node->SetParent(parent.release());
    parent = std::move(node);
  }
  return parent;
}

// A trained classifier, kept as plain numbers so that it can be copied and pickled.
class Boosting {
 public:
  Boosting(std::vector<Cell> cells, std::vector<double> confidences)
      : cells_(std::move(cells)), confidences_(std::move(confidences)) {}

  const std::vector<Cell>& GetCells() const { return cells_; }
  const std::vector<double>& GetConfidences() const { return confidences_; }

  // The score of each column of the features x samples matrix.
  static py::array Scores(const std::shared_ptr<Boosting>& boosting, const py::handle& value) {
    const Array<double> array = Numbers<double>(value, "features", 2);
    Operand features(array, false, "features");
    std::unique_ptr<double[]> scores;
    Call call;
    call.Run([&] {
      double feature = 0.0;
      double label = 1.0;
      mth_internal::BorrowedMatrix oneFeature(&feature, 1, 1);
      mth_internal::BorrowedMatrix oneLabel(&label, 1, 1);
      Tree model(1);
      MTH_CLUSTERING_ADABOOST engine(oneFeature.Get(), oneLabel.Get(), 0, &model);
      const CellsPtr cells(new Cells);
      for (const Cell& cell : boosting->cells_) cells->Add(ToTree(cell).release());
      engine.RealAdaBoostClustering(boosting->confidences_, cells.get(),
                                    nullptr);  // no round: only takes the cells over
      scores.reset(engine.Classify(features.Get()));
    });
    if (!scores) ThrowMemoryError();
    return FromNew(std::move(scores), {features.Columns()});
  }

 private:
  std::vector<Cell> cells_;
  std::vector<double> confidences_;
};

py::tuple Train(const py::handle& featuresValue, const py::handle& labelsValue, const std::string& kind,
                int rounds, int depth, const py::object& progress) {
  // A copy of its own: training follows orders of the features, which would be wrong after a change.
  const Array<double> featuresArray = RealArray(featuresValue, "features").attr("astype")("float64", "C");
  const Array<double> labelsArray = Numbers<double>(labelsValue, "labels", 2);
  Operand features(featuresArray, false, "features");
  Operand labels(labelsArray, false, "labels");
  RequireFinite(featuresArray, "x");
  Tree model(depth);
  MTH_CLUSTERING_ADABOOST engine(features.Get(), labels.Get(), rounds, &model);
  Call call;
  call.CountQuestions(progress, rounds);
  CellsPtr cells;
  std::vector<Cell> conditions;
  call.Run([&] {
    if (kind == "modest") {
      engine.ModestAdaBoostClustering({}, nullptr, nullptr);
    } else if (kind == "gentle") {
      engine.GentleAdaBoostClustering({}, nullptr, nullptr);
    } else {
      engine.RealAdaBoostClustering({}, nullptr, nullptr);
    }
    cells.reset(engine.GetCells());
    conditions = ToConditions(cells.get());
  });
  RequireRun(engine.GetStopReason(), "AdaBoost");
  return py::make_tuple(std::make_shared<Boosting>(std::move(conditions), engine.GetConfidences()),
                        ReasonName(engine.GetStopReason()));
}

}  // namespace

void DefineBoosting(py::module_& module) {
  py::class_<Boosting, std::shared_ptr<Boosting>>(module, "Boosting")
      .def("scores", Interruptible(&Boosting::Scores, kOfMatrices))
      .def_property_readonly("cells", &Boosting::GetCells)
      .def_property_readonly("confidences", &Boosting::GetConfidences)
      .def(py::pickle(
          [](const Boosting& self) { return py::make_tuple(self.GetCells(), self.GetConfidences()); },
          [](const py::tuple& state) {
            return std::make_shared<Boosting>(state[0].cast<std::vector<Cell>>(),
                                              state[1].cast<std::vector<double>>());
          }));
  module.def("train_boosting", Interruptible(&Train, kOfClustering));
}

}  // namespace mth_python
