#!/bin/sh
# tour.sh PROGRAM PAGE: every line that the program prints stands in the page, as code, in this order.
set -eu
lines=$("$1" | sed 's/.*/`&`/')
[ -n "$lines" ]
quoted=$(grep -o '`[^`]*`' "$2" | grep -Fx "$lines")
[ "$quoted" = "$lines" ] || { printf 'printed:\n%s\nin the page:\n%s\n' "$lines" "$quoted"; exit 1; }
