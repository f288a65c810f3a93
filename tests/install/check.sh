#!/usr/bin/env bash
# Installs the library, static and shared, and uses it as a stranger would. The argument is a build of
# the static one.
set -euo pipefail
here=$(cd "$(dirname "$0")" && pwd)
root=$here/../..
built=$1
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
export CXX=${CXX:-c++} CC=${CC:-cc} CXXFLAGS=-O0 CFLAGS=-O0
strict=(-Wall -Wextra -Wpedantic -Wconversion -Werror -fsyntax-only)
c_headers=(tkexport.h tkplatform.h tkversion.h toolkit.h)

# With all programs: what they need has to be exported.
build_shared() {
    cmake -S "$root" -B "$work/build" -DBUILD_SHARED_LIBS=ON -DTKGEN_BUILD_TESTS=OFF \
        -DTKGEN_BUILD_EXAMPLES=OFF
    cmake --build "$work/build" --parallel 2
}

# The installation is moved once it is there, so that nothing in it can rely on its first place.
install_library() { # kind, directory of its build
    cmake --install "$2" --prefix "$work/first"
    mv "$work/first" "$work/$1"
}

expect() { # expected, what came
    [[ $2 == "$1" ]] || { echo "FAILED: expected '$1', got '$2'" >&2 && exit 1; }
}

# The programs that the documents show: each block of C or C++ that has a main, and Python.
build_programs_of_docs() {
    local source
    rm -rf "$work/docs" && mkdir "$work/docs"
    awk -v to="$work/docs/program" '
        /^```(c|cpp|python)$/ { file = to (++count) "." ($0 ~ /python/ ? "py" : substr($0, 4)); next }
        /^```$/ { file = "" }
        file != "" { print > file }' "$root/README.md" "$root/docs/guide.md"
    for source in "$work"/docs/*.c*; do
        grep -q '^int main' "$source" || continue
        case $source in
        *.c) "$CC" -std=c99 -Wall -Wextra -Werror "${flags[@]}" -c "$source" -o "$source.o" ;;
        *.cpp) "$CXX" -std=c++17 -Wall -Wextra -Werror "${flags[@]}" -c "$source" -o "$source.o" ;;
        esac
        "$CXX" "$source.o" "${libs[@]}" -o "$source.program"
    done
    python3 -m py_compile "$work"/docs/*.py
    expect 6 "$(find "$work/docs" -name '*.program' | wc -l)"
}

use_library() { # kind, pkg-config's options
    PKG_CONFIG_PATH=$(dirname "$(find "$work/$1" -name tkgen.pc)")
    export PKG_CONFIG_PATH
    local said flags libs
    said="$(pkg-config --modversion tkgen) $1"
    read -ra flags <<<"$(pkg-config --cflags tkgen)"
    read -ra libs <<<"$(pkg-config "${@:2}" --libs tkgen)"
    "$CC" "${flags[@]}" -c "$here/window.c" -o "$work/window.o"
    "$CXX" -std=c++17 "${flags[@]}" "$here/main.cpp" "$work/window.o" "${libs[@]}" -o "$work/plain"
    expect "$said" "$(LD_LIBRARY_PATH=$(dirname "$PKG_CONFIG_PATH") "$work/plain")"
    build_programs_of_docs

    cmake -S "$here" -B "$work/consumer-$1" -DCMAKE_PREFIX_PATH="$work/$1"
    cmake --build "$work/consumer-$1"
    expect "$said" "$("$work/consumer-$1/consumer")"
}

check_headers() { # directory
    (cd "$1" && printf '%s\n' *.h) |
        xargs -P2 -I{} "$CXX" -std=c++17 "${strict[@]}" -I"$1" -x c++ -include {} /dev/null
    printf '%s\n' "${c_headers[@]}" |
        xargs -I{} "$CC" -std=c99 "${strict[@]}" -I"$1" -include {} "$here/window.c"
}

# What has its header in src/ stays inside the shared library.
check_exports() {
    local exported internal
    exported=$(nm -DC --defined-only "$work"/shared/lib*/libtkgen.so | cut -d' ' -f3-)
    grep -q '^TkThread::startControl' <<<"$exported"
    internal=$(grep -rhoP '^(class|struct) (\S+ )?\KTk\w++(?!::)(?=.*\{)|^namespace \Ktk\w+' "$root/src" \
        --include='*.h' | sort -u | paste -sd'|')
    expect TkTextCodec "$(grep -ow TkTextCodec <<<"$internal")"
    expect '' "$(grep -E "^((vtable|typeinfo|typeinfo name) for )?($internal)(::|$)" <<<"$exported")"
}

build_shared
install_library static "$built"
install_library shared "$work/build"
use_library static --static
use_library shared
check_headers "$work/static/include/tkgen"
check_exports
PYTHONPATH=$work/shared/share/tkgen/python timeout 60 \
    python3 "$here/flat_test.py" "$work"/shared/lib*/libtkgen.so "$work/shared/bin/tkgen-sim"
"$work/shared/bin/tkgen-sim" --help >/dev/null
"$work/shared/bin/tkgen-console" --help >/dev/null
"$work/shared/bin/tkgen-send" --help >/dev/null
"$work/shared/bin/tkgen-receive" --help >/dev/null
"$work/shared/bin/tkgen-relay" --help >/dev/null
"$work/shared/bin/tkgen-site" --help >/dev/null
