#!/usr/bin/env bash
# Prints the repository's files matching the given patterns, one per line, relative to the
# repository root: `git ls-files` in a git checkout, otherwise (a tree unpacked from an archive)
# every file under the root less what .gitignore leaves out (build*/, out/, .cache/).
# A pattern with a slash matches the path ('src/*.cc' takes src/a/b.cc too), one without it the
# file name ('*.h'), as git's pathspecs do.
#   scripts/source-files.sh PATTERN...
set -euo pipefail
cd "$(dirname "$0")/.."

if (($# == 0)); then
  echo "usage: scripts/source-files.sh PATTERN..." >&2
  exit 2
fi

if command -v git >/dev/null && git rev-parse --is-inside-work-tree >/dev/null 2>&1; then
  git ls-files -- "$@"
  exit 0
fi

matches=()
for pattern in "$@"; do
  ((${#matches[@]})) && matches+=(-o)
  if [[ $pattern == */* ]]; then
    matches+=(-path "./$pattern")
  else
    matches+=(-name "$pattern")
  fi
done
find . \( -path ./.git -o -path './build*' -o -path ./out -o -name .cache \) -prune -o \
  -type f \( "${matches[@]}" \) -print | sed 's|^\./||' | LC_ALL=C sort
