#!/usr/bin/env bash
# Checks the format of all code and runs static checks over it: lint.sh [FILE…]. Needs Debian's clang-format and
# clang-tidy, and a configured build (tools/build.sh), from which the generated headers come.
set -euo pipefail
cd "$(dirname "$0")/.."

files=("$@")
[ ${#files[@]} -gt 0 ] || mapfile -t files < <(git ls-files '*.cpp' '*.h')
clang-format --dry-run --Werror "${files[@]}" || { echo "lint: run clang-format -i on these" >&2; exit 1; }

# Fuzz targets are compiled natively, for another system.
mapfile -t sources < <(printf '%s\n' "${files[@]}" | grep -E '\.cpp$' | grep -v '^tests/fuzz/')
[ ${#sources[@]} -gt 0 ] || exit 0
gcc=/usr/lib/gcc/x86_64-w64-mingw32/12-posix/include
gtest=/usr/src/googletest/googletest/include
generated=build/windows
tidy() {   # FLAG…: the sources' names come from standard input
  xargs -r -P "$(nproc)" -I{} clang-tidy --quiet {} -- \
    --target=x86_64-w64-mingw32 -std=gnu++20 -I. -I$generated/configured -isystem $generated/headers -isystem $gtest \
    -isystem "$gcc/c++" -isystem "$gcc/c++/x86_64-w64-mingw32" -isystem /usr/x86_64-w64-mingw32/include \
    -isystem /usr/share/mingw-w64/include \
    -DUNICODE -D_UNICODE -DWIN32_LEAN_AND_MEAN -DNOMINMAX -DSTRICT -DWINVER=0x0601 -D_WIN32_WINNT=0x0601 \
    -D_WIN32_IE=0x0700 "$@"
}
# The build includes the precompiled header in all tests.
printf '%s\n' "${sources[@]}" | { grep '^tests/' || true; } | tidy -include tests/support/precompiled.h
printf '%s\n' "${sources[@]}" | { grep -v '^tests/' || true; } | tidy
echo "lint: clean"
