"""A two-class boosting classifier with scikit-learn's conventions."""

from __future__ import annotations

from typing import Any

import numpy as np
from numpy.typing import NDArray

from . import _mth
from ._estimator import BaseEstimator, ClassifierMixin, check_array, check_classification_targets, check_is_fitted, check_X_y
from ._progress import Progress, reporting

__all__ = ["AdaBoost"]

_KINDS = ("real", "modest", "gentle")
_SAMPLES_PER_BLOCK = 50_000


class AdaBoost(ClassifierMixin, BaseEstimator):
    """Boosted decision trees for two classes, with the same scores to the last bit on every machine.

    Parameters
    ----------
    kind : "real", "modest" or "gentle", the rule of a cell's confidence.
    rounds : trees at most.
    depth : levels of each tree.
    progress : True, a function of (rounds done, rounds), or tqdm; see `mth`.

    After `fit`: ``classes_`` (the two, ascending), ``n_features_in_``, ``cells_`` (for each cell its conditions (feature,
    lower bound, upper bound), 1e9 being none), ``confidences_`` (one per cell), ``reason_``. Source: Schapire & Singer,
    Machine Learning 37 (1999); Friedman, Hastie & Tibshirani, The Annals of Statistics 28 (2000); Vezhnevets &
    Vezhnevets, Graphicon (2005).

    >>> x = [[1.0], [2.0], [3.0], [7.0], [8.0], [9.0]]
    >>> model = AdaBoost(kind="gentle", rounds=3).fit(x, ["low", "low", "low", "high", "high", "high"])
    >>> list(model.predict([[0.0], [10.0]]))
    ['low', 'high']
    """

    classes_: NDArray[Any]
    n_features_in_: int

    def __init__(self, kind: str = "real", rounds: int = 50, depth: int = 2, progress: Progress = None) -> None:
        self.kind = kind
        self.rounds = rounds
        self.depth = depth
        self.progress = progress

    def _more_tags(self) -> dict[str, bool]:
        return {"binary_only": True}

    def fit(self, X: Any, y: Any) -> AdaBoost:
        """Train on X, samples x features, and y, one of two classes per sample.

        ``ValueError`` for values that are not finite, for other than two classes, and for parameters that do not exist.
        """
        if self.kind not in _KINDS:
            raise ValueError(f"kind is {self.kind!r}, none of {', '.join(_KINDS)}")
        if self.rounds < 1 or self.depth < 1:
            raise ValueError("rounds and depth must be positive numbers")
        X, y = check_X_y(X, y)
        check_classification_targets(y)
        self.classes_, numbers = np.unique(y, return_inverse=True)
        self.n_features_in_ = X.shape[1]
        if len(self.classes_) > 2:
            raise ValueError("Only binary classification is supported. The type of the target is multiclass.")
        if len(self.classes_) < 2:
            raise ValueError("y has one class, where two are needed")
        with reporting(self.progress, "boosting") as report:
            labels = (2.0 * numbers - 1.0)[np.newaxis]
            self.model_, self.reason_ = _mth.train_boosting(X.T, labels, self.kind, self.rounds, self.depth, report)
        self.cells_ = self.model_.cells
        self.confidences_ = np.array(self.model_.confidences)
        return self

    def decision_function(self, X: Any) -> NDArray[np.float64]:
        """The score of each sample, the sum of the confidences of the cells that hold it: its sign is the class."""
        check_is_fitted(self)
        X = check_array(X)
        if X.shape[1] != self.n_features_in_:
            raise ValueError(
                f"X has {X.shape[1]} features, but AdaBoost is expecting {self.n_features_in_} features as input")
        blocks = range(0, max(len(X), 1), _SAMPLES_PER_BLOCK)  # between which Ctrl-C has its turn
        return np.concatenate([self.model_.scores(X[first:first + _SAMPLES_PER_BLOCK].T) for first in blocks])

    def predict(self, X: Any) -> NDArray[Any]:
        """The class of each sample: the second one where the score is above 0."""
        scores = self.decision_function(X)
        return self.classes_[(scores > 0.0).astype(int)]
