#!/usr/bin/env bash
# Fetches zlib's source from Debian, for the browser inspector's WebAssembly
# build (which compiles zlib's inflater in; the host's libz is not usable
# there). apt fetches it through a private configuration (deb-src of the
# release the machine runs, checked against the release's signed index and
# Debian's archive keyring); the system's apt sources are left untouched.
#
#   scripts/fetch-zlib-source.sh DEST     unpacks into DEST/zlib (once)
set -euo pipefail

dest=$(realpath -m "${1:?usage: fetch-zlib-source.sh DEST}")
[ -f "$dest/zlib/inflate.c" ] && exit 0

work="$dest/apt"
rm -rf "$work" "$dest/zlib"
mkdir -p "$work/lists/partial" "$work/cache/archives/partial" "$work/sources" "$dest/zlib"
: > "$work/sources.list"
. /etc/os-release
cat > "$work/sources/debian-src.sources" <<SOURCES
Types: deb-src
URIs: http://deb.debian.org/debian
Suites: ${VERSION_CODENAME:-bookworm}
Components: main
Signed-By: /usr/share/keyrings/debian-archive-keyring.gpg
SOURCES
apt_private=(-o "Dir::Etc::SourceList=$work/sources.list" -o "Dir::Etc::SourceParts=$work/sources"
             -o "Dir::State::Lists=$work/lists" -o "Dir::Cache=$work/cache" -o "APT::Sandbox::User=root")
apt-get "${apt_private[@]}" -qq update
(cd "$work" && apt-get "${apt_private[@]}" -qq source --download-only zlib >/dev/null)
tarball=$(ls "$work"/zlib_*.orig.tar.* | head -n 1)
tar -xf "$tarball" -C "$dest/zlib" --strip-components=1
[ -f "$dest/zlib/inflate.c" ] || { echo "fetch-zlib-source: no inflate.c in $tarball" >&2; exit 1; }
echo "fetch-zlib-source: $(basename "$tarball") in $dest/zlib"
