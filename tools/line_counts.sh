#!/usr/bin/env bash
# Lines of tracked source per top folder, and the share of test code against product code.
# Source: *.c *.cc *.cpp *.h *.hpp *.py *.sh. Tests: everything under tests/. Product: everything
# else except assets/ (generated fonts and the picture). CMake files are listed apart and count
# on neither side. The last line, "tests/product: T / P = R", is what the checks read.
set -u
cd "$(git -C "$(dirname "$0")" rev-parse --show-toplevel)" || exit 0

count_lines() { # stdin: file names; stdout: total line count
    local total=0 n f
    while IFS= read -r f; do
        [ -f "$f" ] || continue
        n=$(wc -l <"$f")
        total=$((total + n))
    done
    echo "$total"
}

sources=$(git ls-files -- '*.c' '*.cc' '*.cpp' '*.h' '*.hpp' '*.py' '*.sh' | grep -v '^assets/')
tests=0
product=0
printf '%-10s %8s %8s\n' folder product tests
for top in $(printf '%s\n' "$sources" | sed -n 's#^\([^/]*\)/.*#\1#p' | sort -u) .; do
    if [ "$top" = . ]; then
        files=$(printf '%s\n' "$sources" | grep -v '/')
        label='(top)'
    else
        files=$(printf '%s\n' "$sources" | grep "^$top/")
        label="$top/"
    fi
    [ -n "$files" ] || continue
    n=$(printf '%s\n' "$files" | count_lines)
    if [ "$top" = tests ]; then
        tests=$n
        printf '%-10s %8s %8s\n' "$label" - "$n"
    else
        product=$((product + n))
        printf '%-10s %8s %8s\n' "$label" "$n" -
    fi
done
cmake_lines=$(git ls-files -- 'CMakeLists.txt' '*/CMakeLists.txt' '*.cmake' | count_lines)
printf '%-10s %8s %8s\n' total "$product" "$tests"
echo "cmake (not in the ratio): $cmake_lines"
if [ "$product" -gt 0 ]; then
    ratio=$(awk -v t="$tests" -v p="$product" 'BEGIN { printf "%.2f", t / p }')
else
    ratio=0.00
fi
echo "tests/product: $tests / $product = $ratio"
exit 0
