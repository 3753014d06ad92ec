#!/bin/sh
# Checks one file in Objective-C++ or C++ against the declarations beside this script: compiles it without making code,
# then analyses its paths. Ends with an error on any finding.
# Usage: check.sh SOURCE_FOLDER FILE
set -eu
source=$1
file=$2
declarations=$(dirname "$0")/declarations

check() {
    # The warnings are those of the project's own builds, and what only Objective-C has.
    "${CLANG:-clang++-14}" -fobjc-runtime=macosx-14 -std=c++20 -fobjc-arc -fblocks \
        -Wall -Wextra -Wpedantic -Wshadow -Wconversion -Wnon-virtual-dtor -Wold-style-cast -Woverloaded-virtual \
        -Wno-missing-field-initializers -Wmethod-signatures -Wundeclared-selector \
        -Wnullable-to-nonnull-conversion -Werror \
        -isystem "$declarations" -I"$source" "$@" "$file"
}

check -fsyntax-only
check --analyze --analyzer-output text -Xclang -analyzer-werror \
    -Xclang -analyzer-checker=nullability -Xclang -analyzer-checker=osx -Xclang -analyzer-checker=cplusplus
echo "$file: no faults found"
