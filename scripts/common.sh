# Shared by the scripts beside this file; source it with the repository as working directory.
set -euo pipefail
cd "$(dirname "${BASH_SOURCE[0]}")/.."

# install_packages LIST...: installs what the lists name and the system lacks; silent otherwise.
install_packages() {
  local missing=()
  local package
  while read -r package; do
    dpkg-query -W -f '${db:Status-Status}' "$package" 2>/dev/null | grep -qx installed ||
      missing+=("$package")
  done < <(grep -hv '^#' "$@")
  ((${#missing[@]})) || return 0
  if ((EUID != 0)); then
    echo "Missing packages: ${missing[*]}" >&2
    echo "Run this script as root, or install them with apt-get." >&2
    return 1
  fi
  echo "Installing ${#missing[@]} packages: ${missing[*]}"
  export DEBIAN_FRONTEND=noninteractive
  run_quietly apt-get update
  run_quietly apt-get install -y --no-install-recommends "${missing[@]}"
}

# run_quietly COMMAND...: shows the output only when the command fails.
run_quietly() {
  local log status=0
  log=$(mktemp)
  "$@" >"$log" 2>&1 || status=$?
  ((status == 0)) || { cat "$log" >&2; echo "Failed: $*" >&2; }
  rm -f "$log"
  return "$status"
}

# build PRESET [-DNAME=VALUE...] [TARGET...]: configures and builds; says what it does only when
# there is work.
build() {
  local preset=$1 option=() targets=()
  shift
  while [[ ${1:-} == -D* ]]; do
    option+=("$1")
    shift
  done
  (($#)) && targets=(--target "$@")
  [[ -z ${CI:-} ]] || option+=(-DMOLPOTENTIAL_WERROR=ON)
  ! command -v ccache >/dev/null || option+=(-DCMAKE_CXX_COMPILER_LAUNCHER=ccache)
  run_quietly cmake --preset "$preset" "${option[@]}"
  local pending
  pending=$(ninja -C "build/$preset" -n "${targets[@]:1}" | tail -n 1)
  [[ $pending == *"no work to do"* ]] && return 0
  echo "Building the $preset preset (a first build takes some minutes) ..."
  run_quietly cmake --build "build/$preset" "${targets[@]}"
}
