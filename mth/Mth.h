#pragma once

/// @file
/// All numerical classes and functions of the library.

#include "mth/Mth_pointer_list.h"
#include "mth/clustering/Mth_subsets.h"
#include "mth/geometry/Mth_3d_geometry.h"
#include "mth/geometry/Mth_funct_chgref_param.h"
#include "mth/geometry/Mth_matrix_chgref.h"
#include "mth/geometry/Mth_point_sets.h"
#include "mth/image/Mth_fft.h"
#include "mth/matrix/Mth_matrix.h"
#include "mth/optimise/Mth_funct.h"
#include "mth/optimise/Mth_funct_ajust_gauss_cost.h"
#include "mth/optimise/Mth_funct_ajust_rayleigh_cost.h"
#include "mth/optimise/Mth_funct_curve_cost.h"
#include "mth/optimise/Mth_funct_find_chainette.h"
#include "mth/optimise/Mth_funct_profile_cost.h"
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
