#pragma once

/// @file
/// All numerical classes and functions of the library.
///
/// Pointer arguments without const are only read, unless their comment says that something is received,
/// changed or kept.

#include "mth/Mth_pointer_list.h"
#include "mth/boosting/Mth_clustering_adaboost.h"
#include "mth/boosting/Mth_clustering_tree.h"
#include "mth/clustering/Mth_clustering.h"
#include "mth/clustering/Mth_clustering_sample.h"
#include "mth/clustering/Mth_subsets.h"
#include "mth/curve/Mth_xy_plot.h"
#include "mth/geometry/Mth_3d_geometry.h"
#include "mth/geometry/Mth_funct_chgref_param.h"
#include "mth/geometry/Mth_matrix_chgref.h"
#include "mth/geometry/Mth_point_sets.h"
#include "mth/image/Mth_fft.h"
#include "mth/image/Mth_laplacian.h"
#include "mth/image/Mth_texture.h"
#include "mth/matrix/Mth_matrix.h"
#include "mth/optimise/Mth_funct.h"
#include "mth/optimise/Mth_funct_ajust_gauss_cost.h"
#include "mth/optimise/Mth_funct_ajust_rayleigh_cost.h"
#include "mth/optimise/Mth_funct_curve_cost.h"
#include "mth/optimise/Mth_funct_find_chainette.h"
#include "mth/optimise/Mth_funct_profile_cost.h"
#include "mth/statistics/Mth_descriptive.h"
#include "mth/statistics/Mth_random.h"
#include "mth/statistics/Mth_sort.h"
#include "mth/statistics/Mth_special_functions.h"
#include "mth/value/Mth_2d_double.h"
#include "mth/value/Mth_2d_float.h"
#include "mth/value/Mth_2d_integer.h"
#include "mth/value/Mth_3d_double.h"
#include "mth/value/Mth_3d_float.h"
#include "mth/value/Mth_3d_integer.h"
#include "mth/value/Mth_3d_vect_double.h"
#include "mth/value/Mth_3d_vect_float.h"
#include "mth/value/Mth_3d_vect_integer.h"
#include "mth/value/Mth_complex.h"
#include "mth/wavelet/Mth_wavelet_denoising.h"
