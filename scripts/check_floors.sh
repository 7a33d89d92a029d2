#!/usr/bin/env bash
# Holds the floors of the house: a folder includes only what stands on its own floor or below, and no two folders
# include each other. Names each offending include; docs/design.md draws the floors. Nothing calls a function of the C
# library whose last bits differ between machines, or computes with the standard library's complex numbers, whose
# products and quotients do: mth/core/Mth_elementary_internal.h and Mth_complex_number_internal.h are there instead.
set -euo pipefail
cd "$(dirname "${BASH_SOURCE[0]}")/.."

git ls-files 'std/*.h' 'std/*.cpp' 'mth/*.h' 'mth/*.cpp' | xargs grep -nE '^#(include|define MTH_KERNEL_FILE) "(mth|std)/' |
  awk -F'[:"]' '
    BEGIN {
      split("std=1 std/qt=6 mth/Mth_pointer_list.h=1 mth/Mth_stop_reason.h=1 mth/core=1 mth/value=2 mth/matrix=2 mth/statistics=3 mth/image=3 " \
            "mth/decomposition=3 mth/optimise=4 mth/curve=4 mth/geometry=5 mth/clustering=5 mth/boosting=5 " \
            "mth/wavelet=5 mth/denoising=5 mth/Mth.h=6", rooms, " ")
      for (i in rooms) { split(rooms[i], room, "="); floor[room[1]] = room[2] }
    }
    function RoomOf(path) { if (path in floor) return path; sub("/[^/]*$", "", path); return path }
    {
      from = RoomOf($1); to = RoomOf($4)
      if (!(from in floor) || !(to in floor)) { print "no floor is named for " (from in floor ? to : from) ": " $0; bad = 1 }
      else if (floor[to] > floor[from]) { print "upwards, " from " to " to ": " $0; bad = 1 }
      else if (from != to && (to, from) in first) { print "a circle: " $0 "  and  " first[to, from]; bad = 1 }
      if (!((from, to) in first)) first[from, to] = $0
    }
    END { exit bad }'

inexact='exp|exp2|expm1|log|log2|log10|log1p|pow|sin|cos|tan|asin|acos|atan|atan2|sinh|cosh|tanh|asinh|acosh|atanh'
inexact="($inexact|cbrt|hypot|erf|erfc|tgamma|lgamma|beta|fmaf?|comp_ellint_[123]|cyl_bessel_[ijk])[fl]?"
if git ls-files 'std/*.h' 'std/*.cpp' 'mth/*.h' 'mth/*.cpp' | xargs grep -nE \
  "std::$inexact\\b|(^|[^A-Za-z0-9_:.>])(::)?$inexact\\(|std::(complex|norm|polar)\\b|<complex>" | grep -vE '^[^:]*:[0-9]+: *//'; then
  echo "these give other bits on other machines" >&2
  exit 1
fi
echo "Every include stays on its floor or goes down"
