#pragma once

#include <concepts>
#include <cstddef>
#include <memory>

#include "mth/Mth_stop_reason.h"
#include "std/Std_export.h"

class MTH_MATRIX;

/// Settings of simulated annealing.
struct SIMULATED_ANNEALING_PARAM {
  double temperatureFactor;      ///< the temperature is multiplied by it after every stage
  int transitionsPerStage;       ///< a stage ends after this many moves; below 1, after one
  int stagesWithoutImprovement;  ///< the run ends after this many successive stages without a better cost
  int rejectionsPerStage;        ///< a stage ends when exactly this many moves in a row have been rejected
  int maximumStages;             ///< the run ends after this many stages; below 1, after one
  double initialTemperature;     ///< temperature of the first stage
  double finalTemperature;       ///< the run ends when the temperature falls below it
  double stepAmplitude;          ///< size of the moves, for the hooks of the cost function
  double amplitudeFactor;        ///< the step amplitude is multiplied by it after every stage
  int spareInteger;              ///< free for the hooks
  double spareDouble;            ///< free for the hooks
};

/// Base class of every cost function and owner of every minimiser.
///
/// A cost function derives from it, gives the number of its parameters to the constructor and overrides
/// Evaluate(). Every minimiser moves the object's own parameters and leaves its result there, with its cost
/// in the value. Minimisers may be called one after the other; each starts where the last one ended unless it
/// is given a start.
///
/// A start is given through SetParameters, so it counts only once the object is "defined" (see SetDefined);
/// HasIgnoredParameters tells where it did not.
/// Where a minimiser has an `iterations` argument it may be null. When there is no memory for its work
/// arrays, or there was none for the object itself, a minimiser returns false at once. Without parameters (n
/// = 0) it takes its steps all the same, which then change nothing: Powell's method evaluates once and gives
/// false with 0 iterations, the steepest descent true, and the simplex method, which has no second vertex
/// then, false at once.
///
/// Every minimiser asks once per iteration, and the annealing every 1,000 evaluations, whether it is to end:
/// its progress window where it has one (TSTD_WAIT_BAR::IsCancelRequested), the display elsewhere
/// (Std_IsCancelRequested). A cancelled run leaves the best point that it has accepted, its start included,
/// in the parameters, with its cost in the value, and returns what it would at its limit of iterations.
///
/// Nothing is thrown. An exception of the host's own Evaluate(), EvaluateResiduals() or annealing hooks
/// passes through to the host: nothing leaks, the progress window closes, and the object can be used again.
///
/// One thread at a time may use an object. docs/minimisers.md compares the minimisers and tells where they
/// are intentionally unlike the textbook.
class MTH_EXPORT MTH_FUNCT {
 public:
  /// No parameters: every array is null.
  MTH_FUNCT();
  /// @param n  number of parameters, fixed for life, all 0 at first. Below 0, or without memory: as the
  ///           default constructor.
  explicit MTH_FUNCT(int n);

  /// Hook: simulated annealing is about to start. Does nothing here.
  virtual void InitialiseSimAnn();
  /// Hook: changes the parameters by one move. Changes nothing here. @return ignored.
  virtual bool SimAnnComputeTransition();
  /// Hook: undoes the last move exactly. Changes nothing here. @return ignored.
  virtual bool SimAnnComputeInverseTransition();
  virtual ~MTH_FUNCT();
  /// Computes the cost of the parameters and stores it with SetValue.
  virtual void Evaluate() = 0;
  /// Hook of the least-squares minimiser: the number m of residuals. 0 here, for a cost that is no sum of
  /// squares.
  virtual int GetResidualsCount() const;
  /// Hook of the least-squares minimiser: stores the residuals of the parameters, as model minus data or as
  /// data minus model. @param residuals  receives m values. @return  false to end the run; false here.
  virtual bool EvaluateResiduals(double* residuals);

  /// Number of parameters n.
  int GetParametersCount() const { return parametersCount_; }
  /// @return  the object's own n parameters, to read and write, never to free; null without parameters.
  double* GetParameters() const { return parameters_.get(); }
  /// @copydoc GetParameters
  double* GetParam() const { return GetParameters(); }
  /// @return  the cost stored last, which after a minimiser or EvaluateAtPoint is that of the parameters.
  double GetValue() const { return value_; }
  /// Stores the cost that GetValue tells, as Evaluate() of a cost of one's own does.
  void SetValue(const double value) { value_ = value; }
  /// How the last run of a minimiser ended. Every minimiser that met its tolerance has converged, so have an
  /// annealing that fell below its final temperature or went stale and a Levenberg-Marquardt run that can go
  /// no further; a cost that is not finite is NotFinite, never converged. NotRun also after an exception of
  /// the host.
  MTH_STOP_REASON GetStopReason() const { return stopReason_; }
  /// Declares whether SetParameters, and with it the start of a minimiser, is obeyed. False at first.
  void SetDefined(const bool isDefined) { isDefined_ = isDefined; }
  /// Step h of the finite differences; 1.0 at first.
  void SetGradientStep(const double step) { gradientStep_ = step; }
  /// Edge length of the first Nelder-Mead simplex; 1.0 at first.
  void SetSimplexSize(const double size) { simplexSize_ = size; }
  /// First step length of the steepest descent; 1.0 at first.
  void SetConstant_for_Steepes_Optimization(const double constant) { steepestConstant_ = constant; }
  /// Copies n values into the parameters; intentionally ignored unless the object is defined, and for null.
  void SetParameters(double* x);
  /// @copydoc SetParameters(double*)
  template <std::same_as<double> T>
  void SetParameters(const T* x) {
    SetParameters(const_cast<T*>(x));
  }
  /// Whether the last parameters, or start of a minimiser, that the object was given were ignored, as it was
  /// not defined then: the run has started from the parameters that it had.
  bool HasIgnoredParameters() const { return hasIgnoredParameters_; }

  /// The cost at a point, without moving the object: always two calls of Evaluate, the second one at the
  /// object's own parameters, so that the value matches them again.
  /// @param x  n values, not modified; null gives NaN.
  double EvaluateAtPoint(double* x);
  /// @copydoc EvaluateAtPoint(double*)
  template <std::same_as<double> T>
  double EvaluateAtPoint(const T* x) {
    return EvaluateAtPoint(const_cast<T*>(x));
  }
  /// The cost at abscissa t of the current line, its start plus t times its direction (two evaluations).
  double F1dim(double t);

  /// Brackets a minimum of the current line by golden-section steps with parabolic extrapolation, from the
  /// abscissae a and b that LinMin sets.
  void Mnbrak();
  /// Refines the bracket to a minimum, to a fractional tolerance of 0.01 plus 1e-5, in 200 steps at most.
  /// @see  Brent, Algorithms for Minimization without Derivatives, 1973, chapter 5.
  void Brent();
  /// Moves to the minimum of the line from p in direction xi, then evaluates at the object's parameters.
  /// @param p   n values; becomes the minimum. Minimisers pass the parameters themselves.
  /// @param xi  n values; becomes the displacement made. Null arguments: nothing is done.
  void LinMin(double* p, double* xi);

  /// Powell's direction-set method.
  /// @param start         null starts from the parameters.
  /// @param maxIter       passes at most, each a line search along every direction.
  /// @param ftol          stops when a pass changes the cost by less, relative to the cost.
  /// @param iterations    receives the completed passes; the last one, which meets ftol, is not counted.
  /// @param showProgress  shows the parameters after each line search in a progress window.
  /// @return              whether the cost is now below that of the start.
  /// @see  Powell, The Computer Journal 7 (1964) 155. Intentionally unlike it, the new direction overwrites
  ///       that of the largest decrease in place.
  bool ComputeOptimumPowell(double* start, short maxIter, double ftol, short* iterations, bool showProgress);
  /// @copydoc ComputeOptimumPowell(double*,short,double,short*,bool)
  template <std::same_as<double> T>
  bool ComputeOptimumPowell(const T* start, short maxIter, double ftol, short* iterations,
                            bool showProgress) {
    return ComputeOptimumPowell(const_cast<T*>(start), maxIter, ftol, iterations, showProgress);
  }

  /// Central differences with the gradient step h, 4 n evaluations. Nothing is done without memory.
  void ComputeGradient();
  /// Second differences with the gradient step h, 6 n + 4 n (n - 1) evaluations. Otherwise as
  /// ComputeGradient.
  void ComputeHessian();
  /// @return  the object's own n derivatives of the last ComputeGradient; null without parameters.
  double* GetGradient() const { return gradient_.get(); }
  /// @return  the object's own n x n second derivatives, row-major, of the last ComputeHessian; null without
  ///          parameters.
  double* GetHessian() const { return hessian_.get(); }

  /// Damped Newton iteration. Intentionally it always starts from 0.1 in every parameter and adds the solved
  /// step without changing its sign: it goes up to a maximum where the curvature is positive.
  /// It has no limit of iterations: it ends when a step changes the cost by at most 1e-10, or by NaN, and
  /// when the damping can no longer grow, as it is 0 or beyond every finite number. It shows no message,
  /// whatever the system: a step that cannot be solved for is 0.
  /// @param iterations  receives 0.
  /// @return            whether the cost is now below that of the start.
  bool ComputeOptimumMarLev(short* iterations);
  /// Copies start into the parameters, whether the object is defined or not, and minimises nothing.
  /// @param target  ignored.
  /// @return        false.
  bool ComputeOptimumLM(double* start, double* target);
  /// @copydoc ComputeOptimumLM(double*,double*)
  template <std::same_as<double> T>
  bool ComputeOptimumLM(const T* start, const double* target) {
    return ComputeOptimumLM(const_cast<T*>(start), const_cast<double*>(target));
  }
  /// Broyden-Fletcher-Goldfarb-Shanno variable-metric method with finite differences and LinMin.
  /// @param start       null starts from the parameters.
  /// @param ftol        stops when 50 |change of the cost| <= ftol (|cost| + |former cost| + 1e-10).
  /// @param iterations  receives the iterations, 1000 at most.
  /// @return            whether the cost is now below that of the start.
  /// @see  Broyden, J. Inst. Maths Applics 6 (1970) 76; Fletcher, The Computer Journal 13 (1970) 317;
  ///       Goldfarb, Math. Comp. 24 (1970) 23; Shanno, Math. Comp. 24 (1970) 647.
  bool ComputeOptimumQNBFGS(double* start, double ftol, short* iterations);
  /// @copydoc ComputeOptimumQNBFGS(double*,double,short*)
  template <std::same_as<double> T>
  bool ComputeOptimumQNBFGS(const T* start, double ftol, short* iterations) {
    return ComputeOptimumQNBFGS(const_cast<T*>(start), ftol, iterations);
  }

  /// Fills rows 1 to n of a simplex (mth/matrix/Mth_matrix.h) of n + 1 rows and n columns whose row 0 holds
  /// the start. Intentionally it is not regular: no row has the long offset in column 0, and row n has it in
  /// none.
  void InitiateMatrixForNelderMead(MTH_MATRIX* simplex);
  /// Downhill simplex method, made for two parameters: with more, the costs of the first vertices are taken
  /// with every parameter beyond the second at 0.
  /// @param start       null returns false at once.
  /// @param ftol        stops when the costs of the best and worst vertex differ by less, relatively.
  /// @param iterations  receives the moves of the simplex, maxIter at most.
  /// @return            true when ftol was met, false at maxIter. The parameters are the last point tried,
  ///                    not always the best vertex.
  /// @see  Nelder & Mead, The Computer Journal 7 (1965) 308.
  bool ComputeOptimum_Nelder_Mead(double* start, double ftol, int maxIter, int* iterations);
  /// @copydoc ComputeOptimum_Nelder_Mead(double*,double,int,int*)
  template <std::same_as<double> T>
  bool ComputeOptimum_Nelder_Mead(const T* start, double ftol, int maxIter, int* iterations) {
    return ComputeOptimum_Nelder_Mead(const_cast<T*>(start), ftol, maxIter, iterations);
  }
  /// Steepest descent with a step that grows while the cost falls and is halved when it rises; made for two
  /// parameters, works for any number.
  /// @param start       null returns false at once.
  /// @param ftol        stops when a step changes the cost by less, relative to the cost.
  /// @param iterations  receives the steps, maxIter at most (1 when maxIter is below).
  /// @return            true but for a null start.
  bool Compute_Optimum_Steepes(double* start, double ftol, int maxIter, int* iterations);
  /// @copydoc Compute_Optimum_Steepes(double*,double,int,int*)
  template <std::same_as<double> T>
  bool Compute_Optimum_Steepes(const T* start, double ftol, int maxIter, int* iterations) {
    return Compute_Optimum_Steepes(const_cast<T*>(start), ftol, maxIter, iterations);
  }

  /// Least squares: minimises half the sum of the squared residuals that EvaluateResiduals stores, by
  /// Marquardt's method with Nielsen's damping, and leaves that half sum in the value. The derivatives are
  /// forward differences: n evaluations of the residuals for each accepted step, one for each trial.
  /// @param start       null starts from the parameters; counts whether the object is defined or not.
  /// @param ftol        has converged when a step changes the cost, and the linear model had promised to
  ///                    change it, by at most this, relative to the cost; also when rounding allows no
  ///                    progress.
  /// @param maxIter     trial steps at most; 0 or below evaluates the start and returns false.
  /// @param iterations  receives the trial steps.
  /// @return            whether it has converged. False, with nothing changed, for fewer residuals than
  ///                    parameters or none (BadInput), without memory (NoMemory), and with the start in the
  ///                    parameters for residuals that are not finite or not given there (NotFinite).
  ///                    Residuals that are not finite later on only refuse a step; EvaluateResiduals
  ///                    returning false, and derivatives that are not finite or whose squares overflow, end
  ///                    the run at the best point (NotFinite).
  /// @see  Marquardt, J. SIAM 11 (1963) 431; Nielsen, IMM-REP-1999-05, Technical University of Denmark.
  bool ComputeOptimumLeastSquares(double* start, double ftol, int maxIter, int* iterations);
  /// @copydoc ComputeOptimumLeastSquares(double*,double,int,int*)
  template <std::same_as<double> T>
  bool ComputeOptimumLeastSquares(const T* start, double ftol, int maxIter, int* iterations) {
    return ComputeOptimumLeastSquares(const_cast<T*>(start), ftol, maxIter, iterations);
  }
  /// The covariance of the parameters after ComputeOptimumLeastSquares, for residuals of equal variance:
  /// 2 value / (m - n) times the inverse of J^T J, J being the derivatives of the residuals. The roots of its
  /// diagonal are the standard errors.
  /// @return  the object's own n x n array, row-major; null before a run, after one that was refused or met
  ///          what is not finite, and where m = n or J^T J is singular.
  const double* GetCovariance() const { return covariance_.get(); }

  /// Copies the settings into the object's own record. Null is ignored.
  void SetSimAnnParam(SIMULATED_ANNEALING_PARAM* p);
  /// @return  the object's own record, which a run updates (its step amplitude); null without parameters.
  SIMULATED_ANNEALING_PARAM* GetSimAnnParam() const { return annealing_.get(); }
  /// Simulated annealing: the moves are the hooks of the cost function, the random numbers stream 0 of
  /// Mth_Random1, which is seeded from the clock.
  /// @param p           settings, only read; null returns false at once.
  /// @param start       null starts from the parameters.
  /// @param reserved1   ignored.
  /// @param reserved2   ignored.
  /// @param iterations  receives the number of moves, as a short.
  /// @return            whether a cost below that of the start was found. The parameters are the best point
  ///                    and the value its cost.
  /// @see  Kirkpatrick, Gelatt & Vecchi, Science 220 (1983) 671.
  bool ComputeOptimumSimmulatedAnnealing(SIMULATED_ANNEALING_PARAM* p, double* start, short reserved1,
                                         double reserved2, short* iterations);
  /// As with a start that is not constant.
  template <std::same_as<double> T>
  bool ComputeOptimumSimmulatedAnnealing(SIMULATED_ANNEALING_PARAM* p, const T* start, short reserved1,
                                         double reserved2, short* iterations) {
    return ComputeOptimumSimmulatedAnnealing(p, const_cast<T*>(start), reserved1, reserved2, iterations);
  }
  /// A Metropolis test of its own, with the low 15 bits of the C library's rand().
  /// @param T   temperature.
  /// @param dE  change of the cost.
  /// @return    whether exp(-dE / T) is strictly above the number drawn from [0, 1].
  bool SimulatedAnnealingProba(double T, double dE);

  /// Writes the parameters and the value to a text file, three decimals each.
  /// @return  false, without a message, when the file cannot be created or written.
  bool SaveParameters(const char* path);

 private:
  using Array = std::unique_ptr<double[]>;

  struct FreePages {
    void operator()(double* elements) const;
  };

  bool AllocateArrays(std::size_t count);
  void Release();
  void EndRun(MTH_STOP_REASON reason, bool hasIterated);
  bool AllocateDerivativeWork();
  double SecondDifference(int i);
  double MixedDifference(int i, int j);

  Array linePoint_;
  Array lineDirection_;
  Array savedParameters_;
  Array trialPoint_;
  Array derivativeWork_[4];
  double lineTolerance_ = 0.01;
  double bracketB_ = 0.0;
  double lineMinimum_ = 0.0;
  double costB_ = 0.0;
  double costC_ = 0.0;
  double costA_ = 0.0;
  double bracketC_ = 0.0;
  double bracketA_ = 0.0;
  double value_ = 0.0;
  int parametersCount_ = 0;
  bool isStarved_ = false;  // the object found no memory: its Evaluate has no parameters to look at
  Array parameters_;
  double simplexSize_ = 1.0;
  double steepestConstant_ = 1.0;
  bool isDefined_ = false;
  bool hasIgnoredParameters_ = false;
  Array gradient_;
  std::unique_ptr<double[], FreePages> hessian_;
  double gradientStep_ = 1.0;
  std::unique_ptr<SIMULATED_ANNEALING_PARAM> annealing_;
  Array covariance_;
  MTH_STOP_REASON stopReason_ = MTH_STOP_REASON::NotRun;
};
