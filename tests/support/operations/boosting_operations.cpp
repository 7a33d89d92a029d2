#include "support/operations/operations.h"

// Decision trees and boosting.

namespace mth_test {
namespace {

struct Training {
  Training(int features, int samples, unsigned seed)
      : data(Matrix(features, samples, 0, seed)),
        labels(1, samples, 0),
        weights(Values(samples, seed + 1, 0.0, 1.0)) {
    Numbers noise(seed + 2);
    for (int i = 0; i < samples; ++i) {
      const bool isAbove = data.Get(0, i) > 0.25 || (features > 1 && data.Get(1, i) < -0.5);
      labels.Set(0, i, isAbove != (noise.Positive() < 0.125) ? 1.0 : -1.0);
    }
  }
  MTH_MATRIX data;
  MTH_MATRIX labels;
  std::vector<double> weights;
};

void CountChain(Trial& t, const MTH_CLUSTERING_TREE* node) {
  for (; node != nullptr; node = node->GetParent())
    t.CountAll(node->GetLowerBound(), node->GetUpperBound(), node->GetFeature(), node->GetDepth());
}

void AddTrees(Operations& list) {
  list.push_back(
      {"boosting/tree/DoTraining", [](Trial& t) {
         for (const auto& [features, samples] : {std::pair(1, 9), std::pair(3, 100), std::pair(7, 33)}) {
           Training training(features, samples, 1300);
           MTH_CLUSTERING_TREE model(2);
           MTH_CLUSTERING_TREE left(2);
           MTH_CLUSTERING_TREE right(2);
           t(
               [&] {
                 return model.DoTraining(&model, &training.data, &training.labels, training.weights.data(),
                                         nullptr, &left, &right);
               },
               -1);
           CountChain(t, &left);
           CountChain(t, &right);
           const std::unique_ptr<int[]> output(
               t.Run([&] { return model.CalculOutput(&left, &training.data); }));
           t.Count(output.get(), samples);
         }
       }});
  for (const int depth : {1, 2, 4}) {
    list.push_back({"boosting/tree/Train/" + std::to_string(depth), [depth](Trial& t) {
                      Training training(4, 120, 1310);
                      MTH_CLUSTERING_TREE model(depth);
                      const std::unique_ptr<MTH_POINTER_LIST<MTH_CLUSTERING_TREE>> cells(t.Run([&] {
                        return model.Train(&model, &training.data, &training.labels, training.weights.data());
                      }));
                      if (cells == nullptr) return;
                      t.Count(cells->GetCount());
                      for (const MTH_CLUSTERING_TREE* cell : *cells) {
                        CountChain(t, cell);
                        const std::unique_ptr<const MTH_CLUSTERING_TREE> owned(cell);
                      }
                    }});
  }
}

using Boost = bool (MTH_CLUSTERING_ADABOOST::*)(std::vector<double>, MTH_POINTER_LIST<MTH_CLUSTERING_TREE>*,
                                                double*);

void AddBoosting(Operations& list) {
  const std::pair<const char*, Boost> rules[] = {
      {"RealAdaBoostClustering", &MTH_CLUSTERING_ADABOOST::RealAdaBoostClustering},
      {"ModestAdaBoostClustering", &MTH_CLUSTERING_ADABOOST::ModestAdaBoostClustering},
      {"GentleAdaBoostClustering", &MTH_CLUSTERING_ADABOOST::GentleAdaBoostClustering}};
  for (const auto& [name, boost] : rules) {
    for (const int depth : {1, 3}) {
      list.push_back(
          {std::string("boosting/") + name + "/" + std::to_string(depth), [boost = boost, depth](Trial& t) {
             Training training(3, 150, 1320);
             MTH_CLUSTERING_TREE model(depth);
             std::vector<double> scores(150);
             MTH_CLUSTERING_ADABOOST trainer(&training.data, &training.labels, 12, &model);
             t([&] { return (trainer.*boost)({}, nullptr, scores.data()); });
             t.CountAll(scores, trainer.GetConfidences());
             if (trainer.GetCells() != nullptr) {
               for (const MTH_CLUSTERING_TREE* cell : *trainer.GetCells()) CountChain(t, cell);
             }
             MTH_MATRIX others = Matrix(3, 61, 0, 1330);
             const std::unique_ptr<double[]> classes(t.Run([&] { return trainer.Classify(&others); }));
             t.Count(classes.get(), 61);
             MTH_CLUSTERING_ADABOOST::DeleteCells(trainer.GetCells());
           }});
    }
  }
}

}  // namespace

void AddBoostingOperations(Operations& list) {
  AddTrees(list);
  AddBoosting(list);
}

}  // namespace mth_test
