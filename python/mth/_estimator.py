"""The conventions of scikit-learn's estimators: its own where it is installed, the same members without it."""
# mypy: disable-error-code="no-redef, misc"

from __future__ import annotations

from typing import Any

import numpy as np

__all__ = ["BaseEstimator", "ClassifierMixin", "check_X_y", "check_array", "check_classification_targets", "check_is_fitted"]

try:
    from sklearn.base import BaseEstimator, ClassifierMixin
    from sklearn.utils.multiclass import check_classification_targets
    from sklearn.utils.validation import check_array, check_is_fitted, check_X_y
except ImportError:  # without scikit-learn: the same members, plainer checks
    class BaseEstimator:
        _NAMES = ("kind", "rounds", "depth", "progress")

        def get_params(self, deep: bool = True) -> dict[str, Any]:
            return {name: getattr(self, name) for name in self._NAMES}

        def set_params(self, **params: Any) -> Any:
            for name, value in params.items():
                if name not in self._NAMES:
                    raise ValueError(f"there is no parameter {name!r}")
                setattr(self, name, value)
            return self

    class ClassifierMixin:
        predict: Any

        def score(self, X: Any, y: Any) -> float:
            return float(np.mean(self.predict(X) == np.asarray(y)))

    def check_X_y(X: Any, y: Any) -> tuple[Any, Any]:
        X, y = check_array(X), np.asarray(y)
        if y.shape != X.shape[:1]:
            raise ValueError(f"x has {len(X)} samples, y the shape {y.shape}")
        return X, y

    def check_array(X: Any) -> Any:
        X = np.asarray(X)
        if X.ndim != 2:
            raise ValueError(f"x has {X.ndim} dimensions, not 2")
        return X

    def check_is_fitted(estimator: Any) -> None:
        if not hasattr(estimator, "model_"):
            raise ValueError("This AdaBoost is not fitted yet: call fit first")

    def check_classification_targets(y: Any) -> None:
        pass
