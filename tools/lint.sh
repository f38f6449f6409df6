#!/usr/bin/env bash
# Checks the format of all code, and runs static checks over the panel's: lint.sh [FILE…]. Needs Debian's clang-format and clang-tidy.
set -euo pipefail
cd "$(dirname "$0")/.."

files=("$@")
[ ${#files[@]} -gt 0 ] || mapfile -t files < <(git ls-files '*.cpp' '*.h')
clang-format --dry-run --Werror "${files[@]}" || { echo "lint: run clang-format -i on these" >&2; exit 1; }

mapfile -t sources < <(printf '%s\n' "${files[@]}" | grep -E '^(framework|applet|pages|wizards|csp|settings)/.*\.cpp$')
[ ${#sources[@]} -gt 0 ] || exit 0
gcc=/usr/lib/gcc/x86_64-w64-mingw32/12-posix/include
printf '%s\n' "${sources[@]}" | xargs -P "$(nproc)" -I{} clang-tidy --quiet {} -- \
  --target=x86_64-w64-mingw32 -std=gnu++20 -I. \
  -isystem "$gcc/c++" -isystem "$gcc/c++/x86_64-w64-mingw32" -isystem /usr/share/mingw-w64/include \
  -DUNICODE -D_UNICODE -DWIN32_LEAN_AND_MEAN -DNOMINMAX -DSTRICT -DWINVER=0x0601 -D_WIN32_WINNT=0x0601 -D_WIN32_IE=0x0700
echo "lint: clean"
