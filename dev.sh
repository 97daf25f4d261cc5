#!/usr/bin/env bash
# One entry point for the project: dependencies, build, tests, demo, benchmarks.
#   ./dev.sh deps            install the missing Debian packages
#   ./dev.sh build           configure and build (Release) into build/
#   ./dev.sh test            deps + build + run the whole test suite
#   ./dev.sh test --sanitize the same with AddressSanitizer and UBSan, in build-sanitize/
#   ./dev.sh test --tsan     the threaded tests under ThreadSanitizer, in build-tsan/
#   ./dev.sh test --aarch64  cross-build for 64-bit ARM into build-aarch64/, run the tests under qemu-user
#   ./dev.sh demo            deps + build + super-resolve the built-in demo burst
#   ./dev.sh bench           deps + build + micro-benchmarks, then the method comparison
#                            (bench/compare/comparison.txt and .png)
#   ./dev.sh fuzz [SECONDS]  deps + build the libFuzzer harnesses (clang) + run each for SECONDS (60)
set -euo pipefail
cd "$(dirname "$0")"

PACKAGES=(build-essential cmake pkg-config libopencv-dev libgtest-dev libbenchmark-dev libcli11-dev
  python3-pybind11 pybind11-dev python3-numpy python3-pytest python3-dev python3-opencv clang libclang-rt-14-dev
  libsimde-dev)
OPTIONAL_PACKAGES=(libopencv-superres-dev libfftw3-dev)
# The ARM cross build: Debian's cross compiler, the emulator, and the arm64 development
# packages beside the native ones. Not libopencv-dev:arm64: it would replace the native
# libopencv-dev; the module packages install side by side (cmake/aarch64-linux-gnu.cmake).
AARCH64_PACKAGES=(crossbuild-essential-arm64 qemu-user libopencv-core-dev:arm64 libopencv-imgproc-dev:arm64
  libopencv-video-dev:arm64 libgtest-dev:arm64 libc6:arm64)
JOBS=$(nproc 2>/dev/null || echo 2)

missing_packages() {
  local pkg
  for pkg in "$@"; do
    dpkg-query -W -f='${Status}' "$pkg" 2>/dev/null | grep -q "install ok installed" || echo "$pkg"
  done
}

deps() {
  local missing optional
  missing=$(missing_packages "${PACKAGES[@]}")
  optional=$(missing_packages "${OPTIONAL_PACKAGES[@]}")
  [ -z "$missing$optional" ] && return 0
  local sudo=""
  if [ "$(id -u)" -ne 0 ]; then
    if command -v sudo >/dev/null 2>&1; then sudo="sudo"; else
      [ -z "$missing" ] && return 0
      echo "dev.sh: missing packages: $missing" >&2
      echo "dev.sh: run as root (or install sudo) so that apt-get can install them." >&2
      exit 1
    fi
  fi
  if ! command -v apt-get >/dev/null 2>&1; then
    [ -z "$missing" ] && return 0
    echo "dev.sh: missing packages: $missing; apt-get is not available on this machine." >&2
    exit 1
  fi
  echo "dev.sh: installing $missing $optional" >&2
  export DEBIAN_FRONTEND=noninteractive
  if ! { $sudo apt-get update -qq && $sudo apt-get install -y -qq $missing $optional >/dev/null; }; then
    # The optional packages only add comparison rows to the benchmarks.
    if [ -n "$missing" ] && ! $sudo apt-get install -y -qq $missing >/dev/null; then
      echo "dev.sh: apt-get could not install: $missing" >&2
      exit 1
    fi
  fi
}

deps_aarch64() {
  local missing sudo=""
  missing=$(missing_packages "${AARCH64_PACKAGES[@]}")
  [ -z "$missing" ] && return 0
  if [ "$(id -u)" -ne 0 ]; then
    if ! command -v sudo >/dev/null 2>&1; then
      echo "dev.sh: missing packages: $missing; run as root (or install sudo) to install them." >&2
      exit 1
    fi
    sudo="sudo"
  fi
  echo "dev.sh: installing $missing" >&2
  export DEBIAN_FRONTEND=noninteractive
  dpkg --print-foreign-architectures | grep -qx arm64 || $sudo dpkg --add-architecture arm64
  if ! { $sudo apt-get update -qq && $sudo apt-get install -y -qq $missing >/dev/null; }; then
    echo "dev.sh: apt-get could not install: $missing" >&2
    exit 1
  fi
}

build() {
  local dir=$1; shift
  cmake -S . -B "$dir" -DCMAKE_BUILD_TYPE=Release "$@" >/dev/null
  cmake --build "$dir" -j "$JOBS" ${TARGET:+--target "$TARGET"}
}

# A test that hangs fails after 10 minutes instead of holding up the run.
run_tests() {
  local dir=$1; shift
  ctest --test-dir "$dir" --output-on-failure --timeout 600 -j "$JOBS" "$@"
}

# Runs one harness from its seeds in fuzz/corpus/ plus what earlier runs found in
# build-fuzz/corpus/; a failing input lands in build-fuzz/findings/.
run_fuzzer() {
  local name=$1 seconds=$2
  local corpus=build-fuzz/corpus/$name findings=build-fuzz/findings/$name log=build-fuzz/$name.log
  mkdir -p "$corpus" "$findings"
  # A decoded header may announce any size: keep OpenCV's limit low, so that a
  # huge announced image is turned away rather than counted as running out of memory.
  if ! OPENCV_IO_MAX_IMAGE_PIXELS=4194304 ./build-fuzz/fuzz/vsr_fuzz_"$name" -max_total_time="$seconds" \
      -timeout=30 -print_final_stats=1 -artifact_prefix="$findings/" "$corpus" "fuzz/corpus/$name" 2>"$log"; then
    tail -n 60 "$log" >&2
    echo "dev.sh: fuzzer $name failed; the input is in $findings, the whole log in $log" >&2
    return 1
  fi
  awk -v name="$name" '/^stat::number_of_executed_units/ {runs = $2} /^stat::average_exec_per_sec/ {rate = $2}
    END {printf "fuzz %s: %d runs, %d per second, no failure\n", name, runs, rate}' "$log"
}

command=${1:-}
shift || true
case "$command" in
  deps) deps ;;
  build) deps; build build ;;
  test)
    deps
    if [ "${1:-}" = "--sanitize" ]; then
      build build-sanitize -DVSR_SANITIZE=ON -DVSR_BUILD_BENCH=OFF
      ASAN_OPTIONS=detect_leaks=1 UBSAN_OPTIONS=print_stacktrace=1 run_tests build-sanitize
    elif [ "${1:-}" = "--tsan" ]; then
      cmake -S . -B build-tsan -DCMAKE_BUILD_TYPE=RelWithDebInfo -DVSR_TSAN=ON -DVSR_BUILD_BENCH=OFF \
        -DVSR_BUILD_PYTHON=OFF -DVSR_BUILD_TOOL=OFF >/dev/null
      cmake --build build-tsan -j "$JOBS" --target superresolution_tests api_tests
      # OpenCV is not instrumented: its own workers would only add noise, so it runs on the caller.
      OPENCV_FOR_THREADS_NUM=1 TSAN_OPTIONS="halt_on_error=1 second_deadlock_stack=1" \
        ctest --test-dir build-tsan --output-on-failure --timeout 600 -j "$JOBS" -R 'Thread'
    elif [ "${1:-}" = "--aarch64" ]; then
      # The library and its tests: the tool and its tests need OpenCV's codecs, which stay native.
      deps_aarch64
      build build-aarch64 -DCMAKE_TOOLCHAIN_FILE=cmake/aarch64-linux-gnu.cmake -DVSR_BUILD_TOOL=OFF \
        -DVSR_BUILD_BENCH=OFF
      run_tests build-aarch64

    else
      build build
      run_tests build
    fi ;;
  demo) deps; TARGET=vsr build build >/dev/null; ./build/tools/vsr demo "$@" ;;
  bench)
    deps; build build
    ./build/bench/vsr_bench --benchmark_min_time=0.5 "$@"
    # The full per-burst table and the plot the README shows.
    ./build/bench/compare/vsr_compare 30 bench/compare/comparison.png | tee bench/compare/comparison.txt ;;
  fuzz)
    deps
    seconds=${1:-60}
    cmake -S . -B build-fuzz -DCMAKE_BUILD_TYPE=Release -DCMAKE_C_COMPILER=clang -DCMAKE_CXX_COMPILER=clang++ \
      -DVSR_FUZZ=ON -DVSR_BUILD_TESTS=OFF -DVSR_BUILD_BENCH=OFF >/dev/null
    cmake --build build-fuzz -j "$JOBS" --target vsr_fuzz_c_interface vsr_fuzz_frame_reader
    run_fuzzer c_interface "$seconds"
    run_fuzzer frame_reader "$seconds" ;;
  *)
    sed -n '2,12p' "$0" | sed 's/^# \{0,1\}//' >&2
    exit 2 ;;
esac
