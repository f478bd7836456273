# What the project's shell scripts share. The script that sources this has set `root`, the project's folder.
program=$(basename "$0")

# Objects compiled in another checkout of the same sources count, too.
export CCACHE_BASEDIR=$root CCACHE_NOHASHDIR=1

say() { printf '%s: %s\n' "$program" "$*"; }
fail() {
    printf '%s: %s\n' "$program" "$*" >&2
    exit 1
}

# build PRESET [TARGET…]: configures and builds; quiet unless it fails.
build() {
    local preset=$1 log=$root/build/$1.log
    shift
    mkdir -p "$root/build"
    say "building $preset${1:+ ($*)}"
    (cd "$root" && cmake --preset "$preset") > "$log" 2>&1 || {
        grep -A 6 'CMake Error' "$log" >&2 || tail -n 10 "$log" >&2
        fail "configuring $preset failed; the whole of it is in build/$preset.log"
    }
    (cd "$root" && cmake --build --preset "$preset" ${1:+--target "$@"}) >> "$log" 2>&1 || {
        grep -E -m 20 'error|FAILED|undefined reference' "$log" >&2 || tail -n 20 "$log" >&2
        fail "building $preset failed; the whole of it is in build/$preset.log"
    }
}

# seconds_since START: of $EPOCHREALTIME, with two decimals.
seconds_since() {
    local from=${1/[.,]/} to=${EPOCHREALTIME/[.,]/}
    printf '%d.%02d' $(((to - from) / 1000000)) $(((to - from) / 10000 % 100))
}
