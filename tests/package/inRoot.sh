# Runs in a clean Debian root, in a folder with the packages, a clip, a picture and the README's client: installs the
# packages, uses what they bring, and removes them. Argument: the folder where they were built, which no packaged file may
# name.
set -eu
cd "$(dirname "$0")"
built_in="$1"
export DEBIAN_FRONTEND=noninteractive
fail() { echo "FAILED: $*" >&2; exit 1; }
install() { apt-get install -y -qq --no-install-recommends "$@" >install.log 2>&1 || { cat install.log; fail "install $*"; }; }

# The command, with what its package depends on and nothing else.
install ./tamsel-capture_*.deb
tamsel-capture --help | grep -w image || fail "the help names no command"
for file in man/man1/tamsel-capture.1.gz bash-completion/completions/tamsel-capture \
    zsh/vendor-completions/_tamsel-capture fish/vendor_completions.d/tamsel-capture.fish; do
    [ -s "/usr/share/$file" ] || fail "/usr/share/$file is missing"
done
tamsel-capture status
tamsel-capture image photo.heic upright.png
[ "$(head -c 4 upright.png | tail -c 3)" = PNG ] || fail "no PNG was made of a picture"
tamsel-capture --back clip.mp4 frames --count 3

# The library: its package brings all libraries that a client links.
install ./libtamsel-dev_*.deb
install g++ cmake make
version="$(dpkg-query -W -f '${Version}' libtamsel-dev)"
cmake -S . -B build -DVERSION="$version" >configure.log 2>&1 || { cat configure.log; fail "configure the client"; }
cmake --build build >build.log 2>&1 || { cat build.log; fail "build the client"; }
# shellcheck disable=SC2046
g++ -std=c++23 client.cpp -o by_pkg_config $(pkg-config --cflags --libs "tamsel-source-manager-host = $version")
for client in build/client ./by_pkg_config; do
    "$client" clip.mp4 | grep 'frame 10: 640 x 480' || fail "$client saw no frames"
done

if dpkg -L tamsel-capture libtamsel-dev | xargs grep -la -d skip -F "$built_in"; then
    fail "packaged files name the folder where they were built"
fi

# Nothing is left.
apt-get purge -y -qq tamsel-capture libtamsel-dev >purge.log 2>&1 || { cat purge.log; fail "purge"; }
left="$(find / -xdev -path "$PWD" -prune -o -iname '*tamsel*' -print)"
[ -z "$left" ] || fail "left behind: $left"
