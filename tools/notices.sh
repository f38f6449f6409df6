#!/usr/bin/env bash
# Writes build/NOTICES.txt: the licences of all foreign code in the shipped files, from the copyright files of the Debian
# packages that it comes from. The linker's maps name the libraries, and ninja's dependencies the headers. The shipped
# files must be built.
set -euo pipefail
cd "$(dirname "$0")/.."
build=build/windows

# linked MAP: the libraries of which the linker used a member, and the start-up objects.
linked() {
  awk '/^Archive member included/ { members = 1; next }
       /^Discarded input sections/ { members = 0 }
       members && /^\// { sub(/\(.*/, ""); print }
       /^LOAD \/.*\.o$/ { print $2 }' "$1"
}

# included TARGET: the files that its sources include, as paths from the build directory or full ones.
included() {
  local objects
  mapfile -t objects < <(ninja -C $build -t inputs "$1" | grep '\.obj$')
  [ ${#objects[@]} -gt 0 ] || { echo "notices: the target $1 has no objects" >&2; return 1; }
  ninja -C $build -t deps "${objects[@]}" | sed -n 's/^ \+//p'
}

maps=("$build"/installer/*.map)
[ -f "${maps[0]}" ] || { echo "notices: no linker map; build the target vestra first" >&2; exit 1; }

found=$(for map in "${maps[@]}"; do linked "$map" && included "$(basename "$map" .map)" || exit; done)
mapfile -t files < <(printf '%s\n' "$found" | sort -u | (cd $build && xargs -d '\n' realpath -e) | grep '^/usr/' | sort -u)
owners=$(dpkg -S "${files[@]}") || { echo "notices: a file that is built in belongs to no package" >&2; exit 1; }

# One section for each copyright file, although several packages may have the same one.
declare -A packages
while read -r package; do
  sum=$(sha256sum <"/usr/share/doc/$package/copyright")
  packages[$sum]+=${packages[$sum]:+, }$package
done < <(printf '%s\n' "$owners" | sed 's/: .*//; s/:[^:]*$//' | sort -u)

mapfile -t sections < <(for sum in "${!packages[@]}"; do echo "${packages[$sum]}"; done | sort)
copyrights=("${sections[@]%%,*}")
copyrights=("${copyrights[@]/#//usr/share/doc/}")
copyrights=("${copyrights[@]/%//copyright}")

# The copyright files refer to Debian's common licences, which a Windows machine does not have.
mapfile -t licences < <(grep -oh '/usr/share/common-licenses/[A-Za-z0-9.+-]*' "${copyrights[@]}" | sed 's/\.$//' |
  sort -u | xargs -r realpath -e | sort -u)

rule=$(printf '=%.0s' {1..80})
{
  echo 'The files of this package contain code of the following Debian packages, under the licences stated by them.'
  for i in "${!sections[@]}"; do
    printf '\n%s\n%s\n%s\n\n' "$rule" "${sections[i]}" "$rule"
    cat "${copyrights[i]}"
  done
  for licence in "${licences[@]}"; do
    printf '\n%s\n%s\n%s\n\n' "$rule" "$licence" "$rule"
    cat "$licence"
  done
} | sed 's/\r*$/\r/' >build/NOTICES.txt
echo "notices: build/NOTICES.txt, ${#sections[@]} copyright files, ${#licences[@]} licences"
