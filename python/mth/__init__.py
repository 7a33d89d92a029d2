from ._mth import UnstableSolutionWarning
from . import linalg
