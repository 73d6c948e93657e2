# Sourced by the scripts beside it.

# configure_and_build PRESET [TARGET...]: quiet unless it fails.
configure_and_build() {
    local preset=$1 log=build/$1.log
    shift
    mkdir -p build
    echo "Building $preset${*:+ ($*)} ..."
    {
        cmake --preset "$preset" &&
            cmake --build --preset "$preset" --parallel "$(nproc)" ${*:+--target "$@"}
    } >"$log" 2>&1 </dev/null || {
        tail -n 60 "$log" >&2
        echo "Building $preset failed; the whole log is $log" >&2
        return 1
    }
}
