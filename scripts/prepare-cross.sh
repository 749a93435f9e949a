#!/usr/bin/env bash
# Prepare everything a cross build + qemu-user test run needs, for each
# Debian architecture given on the command line (arm64, s390x).
#
#   scripts/prepare-cross.sh [ARCH...]      (default: arm64 s390x)
#
# What it does, idempotently:
#   1. installs the missing host packages (cross g++, qemu-user, cmake, the
#      nanopb generator) with apt-get; `apt-get update` only when needed;
#   2. registers the foreign dpkg architecture;
#   3. downloads the target-arch .debs (zlib, nanopb, GoogleTest/Mock, plus the
#      arch-independent nlohmann-json and CLI11 headers) into
#      build/cross/debs/<arch>/, only when not cached yet;
#   4. unpacks them into build/cross/<arch>/root/ (nothing is installed on
#      the host for the target) and turns the absolute symlinks found there
#      (e.g. libz.so -> /lib/<triplet>/libz.so.1.x) into relative ones.
# Once the cache is filled, a second run needs no network.
#
# Environment:
#   NAVREQ_CROSS_DIR   base folder (default: <repo>/build/cross)
#   NAVREQ_CROSS_QUIET=1  print only warnings/errors
set -euo pipefail

SCRIPT_DIR="$(cd "$(dirname "${BASH_SOURCE[0]}")" && pwd)"
REPO_ROOT="$(cd "${SCRIPT_DIR}/.." && pwd)"
CROSS_DIR="${NAVREQ_CROSS_DIR:-${REPO_ROOT}/build/cross}"
QUIET="${NAVREQ_CROSS_QUIET:-0}"

# Target-arch packages (Arch: same as target) and arch-independent header
# packages (Arch: all) that are unpacked next to them so the cross build never
# needs the host's /usr/include.
TARGET_PKGS=(zlib1g zlib1g-dev libnanopb-dev libgtest-dev libgmock-dev)
ALL_PKGS=(nlohmann-json3-dev libcli11-dev)

log()  { [[ "${QUIET}" == 1 ]] || printf '[prepare-cross] %s\n' "$*"; }
warn() { printf '[prepare-cross] WARNING: %s\n' "$*" >&2; }
die()  { printf '[prepare-cross] ERROR: %s\n' "$*" >&2; exit 1; }

triplet_of() {
  case "$1" in
    arm64) echo aarch64-linux-gnu ;;
    s390x) echo s390x-linux-gnu ;;
    *) return 1 ;;
  esac
}

qemu_of() {
  case "$1" in
    arm64) echo qemu-aarch64 ;;
    s390x) echo qemu-s390x ;;
  esac
}

# ----------------------------------------------------------------- arguments
ARCHES=("$@")
[[ ${#ARCHES[@]} -gt 0 ]] || ARCHES=(arm64 s390x)
for a in "${ARCHES[@]}"; do
  case "$a" in
    -h|--help) sed -n '2,22p' "${BASH_SOURCE[0]}" | sed 's/^# \{0,1\}//'; exit 0 ;;
  esac
  triplet_of "$a" >/dev/null || die "unknown architecture '$a' (supported: arm64 s390x)"
done

command -v dpkg >/dev/null && command -v apt-get >/dev/null \
  || die "this script needs a Debian/Ubuntu host (dpkg + apt-get)"

SUDO=()
if [[ "$(id -u)" != 0 ]]; then
  command -v sudo >/dev/null || die "not root and no sudo: cannot run apt-get/dpkg"
  SUDO=(sudo)
fi
export DEBIAN_FRONTEND=noninteractive

APT_UPDATED=0
NEED_LISTS=0
apt_update_once() {
  if [[ "${APT_UPDATED}" == 0 ]]; then
    log "apt-get update"
    "${SUDO[@]}" apt-get update -qq || die "apt-get update failed"
    APT_UPDATED=1
  fi
}

is_installed() {  # PKG[:ARCH]
  [[ "$(dpkg-query -W -f='${db:Status-Status}' "$1" 2>/dev/null || true)" == installed ]]
}

# ------------------------------------------------------------ host packages
host_pkgs=(cmake qemu-user nanopb python3)
for a in "${ARCHES[@]}"; do
  host_pkgs+=("g++-$(triplet_of "$a")" "gcc-$(triplet_of "$a")")
done
missing=()
for p in "${host_pkgs[@]}"; do
  is_installed "$p" || missing+=("$p")
done
if [[ ${#missing[@]} -gt 0 ]]; then
  apt_update_once
  log "installing host packages: ${missing[*]}"
  apt_log="$(mktemp)"
  if ! "${SUDO[@]}" apt-get install -y -q --no-install-recommends "${missing[@]}" >"${apt_log}" 2>&1; then
    cat "${apt_log}" >&2; rm -f "${apt_log}"
    die "apt-get install ${missing[*]} failed"
  fi
  rm -f "${apt_log}"
fi
for a in "${ARCHES[@]}"; do
  t="$(triplet_of "$a")"; q="$(qemu_of "$a")"
  command -v "${t}-g++" >/dev/null || die "${t}-g++ not found after install"
  command -v "$q" >/dev/null || die "$q not found after install"
  [[ -d "/usr/${t}/lib" ]] || die "/usr/${t}/lib missing (the cross libc the emulator loads)"
done

# ------------------------------------------------------- what is missing?
missing_debs() {  # ARCH -> prints the package specs not cached yet
  local arch="$1" dir="${CROSS_DIR}/debs/$1" p
  for p in "${TARGET_PKGS[@]}"; do
    compgen -G "${dir}/${p}_*_${arch}.deb" >/dev/null || echo "${p}:${arch}"
  done
  for p in "${ALL_PKGS[@]}"; do
    compgen -G "${dir}/${p}_*_all.deb" >/dev/null || echo "${p}"
  done
  return 0
}

# Register every foreign architecture that still has something to download
# first, so that one `apt-get update` fetches all their package lists.
for arch in "${ARCHES[@]}"; do
  [[ -n "$(missing_debs "${arch}")" ]] || continue
  if ! dpkg --print-foreign-architectures | grep -qx "${arch}" \
     && [[ "$(dpkg --print-architecture)" != "${arch}" ]]; then
    log "dpkg --add-architecture ${arch}"
    "${SUDO[@]}" dpkg --add-architecture "${arch}"
    NEED_LISTS=1    # the new architecture's package lists are needed
  fi
  if ! apt-cache show "zlib1g:${arch}" >/dev/null 2>&1; then
    NEED_LISTS=1
  fi
done
if [[ "${NEED_LISTS}" == 1 ]]; then
  APT_UPDATED=0
  apt_update_once
fi

# -------------------------------------------------------- per architecture
for arch in "${ARCHES[@]}"; do
  triplet="$(triplet_of "$arch")"
  deb_dir="${CROSS_DIR}/debs/${arch}"
  root="${CROSS_DIR}/${arch}/root"
  mkdir -p "${deb_dir}"

  mapfile -t need < <(missing_debs "${arch}")
  if [[ ${#need[@]} -gt 0 ]]; then
    log "${arch}: downloading ${need[*]}"
    # The download runs as root in the cache folder (the _apt sandbox user
    # could not write there); -q keeps progress bars out of logs.
    ( cd "${deb_dir}" && apt-get download -q -o APT::Sandbox::User=root "${need[@]}" >/dev/null ) \
      || die "${arch}: apt-get download ${need[*]} failed (network? package lists?)"
  fi

  # unpack (again) only when the set of .debs changed
  mapfile -t debs < <(cd "${deb_dir}" && ls -1 -- *.deb | LC_ALL=C sort)
  [[ ${#debs[@]} -gt 0 ]] || die "${arch}: no .deb in ${deb_dir}"
  stamp="${root}/.navreq-unpacked"
  want="$(printf '%s\n' "${debs[@]}")"
  if [[ -f "${stamp}" && "$(cat "${stamp}")" == "${want}" ]]; then
    :   # already unpacked from exactly these .debs
  else
    log "${arch}: unpacking ${#debs[@]} packages into ${root}"
    rm -rf "${root}"
    mkdir -p "${root}"
    for d in "${debs[@]}"; do
      dpkg-deb -x "${deb_dir}/${d}" "${root}" || die "${arch}: cannot unpack ${d}"
    done

    # absolute symlinks point into the host; make them relative inside root
    while IFS= read -r -d '' link; do
      target="$(readlink "${link}")"
      [[ "${target}" == /* ]] || continue
      rel="$(realpath -m --relative-to="$(dirname "${link}")" "${root}${target}")"
      ln -sfn "${rel}" "${link}"
      [[ -e "${link}" ]] || warn "${arch}: ${link#"${root}"/} -> ${target} has no target inside root"
    done < <(find "${root}" -type l -print0)

    # sanity checks of what the cross build relies on
    for f in "usr/lib/${triplet}/libz.so" "usr/lib/${triplet}/libz.a" \
             "usr/lib/${triplet}/libprotobuf-nanopb.a" \
             "usr/lib/${triplet}/libgtest.a" "usr/lib/${triplet}/libgmock.a" \
             "usr/lib/${triplet}/cmake/GTest/GTestConfig.cmake" \
             "usr/lib/${triplet}/cmake/nanopb/nanopb-config.cmake" \
             "usr/share/cmake/nlohmann_json/nlohmann_jsonConfig.cmake" \
             "usr/share/cmake/CLI11/CLI11Config.cmake" \
             "usr/include/zlib.h" "usr/include/pb.h" "usr/include/gtest/gtest.h"; do
      [[ -e "${root}/${f}" ]] || die "${arch}: expected ${f} in ${root} (broken download?)"
    done
    printf '%s\n' "${want}" > "${stamp}"
  fi
  log "${arch}: ready (target folder ${root})"
done
