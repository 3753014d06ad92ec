#!/usr/bin/env bash
# Fails, and shows where, when a source is not formatted as .clang-format says. With --fix it formats them instead.
set -euo pipefail
cd "$(dirname "$0")/.."

mode=(--dry-run -Werror)
[[ ${1:-} != --fix ]] || mode=(-i)
find bench core creator helper platform stub tests \( -name '*.h' -o -name '*.cpp' -o -name '*.mm' \) -print0 |
    xargs -0 clang-format-14 "${mode[@]}"
