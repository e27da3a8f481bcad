# Shared by the scripts of this folder; meant to be sourced.

top=$(cd "$(dirname "${BASH_SOURCE[0]}")/.." && pwd)
cd "$top"

say() { printf '\n== %s\n' "$*"; }

# Configures and builds a preset: build_preset NAME [targets...]
build_preset() {
  local preset=$1
  shift
  if command -v ccache >/dev/null; then
    export CMAKE_CXX_COMPILER_LAUNCHER=ccache
  fi
  cmake --preset "$preset" >"build-$preset.log" 2>&1 || { cat "build-$preset.log"; return 1; }
  rm -f "build-$preset.log"
  local targets=()
  [ $# -gt 0 ] && targets=(--target "$@")
  cmake --build --preset "$preset" "${targets[@]}" >"build/$preset/build.log" 2>&1 || {
    grep -E 'error|FAILED|warning' -A 5 "build/$preset/build.log" | head -n 80
    echo "build of $preset failed; the whole log is build/$preset/build.log"
    return 1
  }
}
