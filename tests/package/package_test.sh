#!/usr/bin/env bash
# The packages as a user gets them. Windows zip (when build-windows/ has been
# configured, as tests/run_all.sh does): packs it and checks what it holds.
# Debian package: builds build/kestrand_*.deb, lints it when lintian is
# installed (errors fail), checks its owners and modes, installs it with
# apt-get on this machine, runs kestrand from PATH, finds kestrand(8) with man,
# removes and purges it, and checks that every file it installed is gone.
# Needs root and apt; skipped with a message otherwise, and when a kestrand
# package is already installed (the test would remove it). It leaves the
# machine's packages as it found them: whatever it installs (the package,
# man-db when missing) it purges again, and the package lists before and after
# must be equal. Settings (environment): BUILD_DIR (default build),
# WINDOWS_BUILD_DIR (default build-windows).
set -euo pipefail
cd "$(dirname "$0")/../.."
build=${BUILD_DIR:-build}
windows_build=${WINDOWS_BUILD_DIR:-build-windows}
passed=0 failed=0

pass() { echo "ok:   $*"; passed=$((passed + 1)); }
fail() { echo "FAIL: $*"; failed=$((failed + 1)); }
check() { local what=$1; shift; if "$@"; then pass "$what"; else fail "$what"; fi; }  # description command...
finish() { echo "package: $passed passed, $failed failed"; ((failed == 0)); }

# ---- Windows zip
if [[ -f $windows_build/CMakeCache.txt ]]; then
  rm -f "$windows_build"/kestrand-*.zip
  # Only what the zip holds is built: the "package" target would build the
  # whole tree first, and a stale test suite there would be run under wine
  # (test discovery) outside the prefix that tests/run_all.sh prepares.
  cmake --build "$windows_build" -j"${JOBS:-2}" --target kestrand kestrand_manual >/dev/null
  (cd "$windows_build" && cpack -G ZIP >/dev/null)
  zips=("$windows_build"/kestrand-*-win64.zip)
  if [[ -f ${zips[0]} ]]; then
    listing=$(cmake -E tar tf "${zips[0]}" | sed 's|^[^/]*/||' | sort | tr '\n' ' ')
    check "the Windows zip holds the program, README, license, changes and manual as text ($listing)" \
      test "$listing" = "CHANGELOG.txt LICENSE.txt README.md kestrand.8.txt kestrand.exe "
  else fail "cpack made no kestrand-*-win64.zip in $windows_build"; fi
else echo "note: $windows_build is not configured; the Windows zip is not checked"; fi

# ---- Debian package
# Whether dpkg has kestrand on the machine (installed, or its configuration
# files left); a purged package may stay known to dpkg as "not installed".
present() {
  local status
  status=$(dpkg-query -W -f='${db:Status-Abbrev}' kestrand 2>/dev/null) || return 1
  [[ -n $status && ${status:1:1} != n ]]
}
skip() { echo "SKIP (Debian package): $*"; finish; exit; }
[[ $(id -u) == 0 ]] || skip "not root: installing a package needs root"
command -v apt-get >/dev/null && command -v dpkg >/dev/null || skip "no apt-get and dpkg: not a Debian system"
if present; then
  skip "a kestrand package is installed already ($(dpkg-query -W -f='${Version} ${db:Status-Abbrev}' kestrand)); this test would remove it"
fi

[[ -f $build/CMakeCache.txt ]] || cmake -S . -B "$build" >/dev/null
rm -f "$build"/kestrand_*.deb
cmake --build "$build" -j"${JOBS:-2}" --target package >/dev/null 2>&1 ||
  cmake --build "$build" -j"${JOBS:-2}" --target package   # again, to show why
debs=("$build"/kestrand_*_"$(dpkg --print-architecture)".deb)
[[ -f ${debs[0]} ]] || { fail "cmake --build $build --target package made no kestrand_*.deb"; finish; exit; }
deb=$(realpath "${debs[0]}")
echo "package: $deb"

fields=$(dpkg-deb -f "$deb" Section Priority Depends)
check "section admin, priority optional" \
  test "$(grep -E '^(Section|Priority):' <<<"$fields" | sort | tr '\n' ' ')" = "Priority: optional Section: admin "
check "dependencies computed from the binary ($(grep Depends <<<"$fields"))" grep -q "^Depends: .*libc6 (>= " <<<"$fields"
# Every entry owned by root; directories 0755, the program 0755, files 0644.
modes=$(dpkg-deb -c "$deb" | awk '
  $2 != "root/root" { print "owner " $2 ": " $6 }
  /^d/ && $1 != "drwxr-xr-x" { print $1 " " $6 }
  /^-/ && $6 == "./usr/sbin/kestrand" && $1 != "-rwxr-xr-x" { print $1 " " $6 }
  /^-/ && $6 != "./usr/sbin/kestrand" && $1 != "-rw-r--r--" { print $1 " " $6 }')
check "owners root/root, modes 0755 and 0644${modes:+: $modes}" test -z "$modes"
contents=$(dpkg-deb -c "$deb")
for f in usr/sbin/kestrand usr/share/man/man8/kestrand.8.gz usr/share/doc/kestrand/copyright \
         usr/share/doc/kestrand/changelog.Debian.gz usr/share/doc/kestrand/changelog.gz \
         usr/share/doc/kestrand/README.md; do
  check "the package holds /$f" grep -q " \./$f\$" <<<"$contents"
done
if command -v lintian >/dev/null; then
  lint=$(lintian "$deb" 2>/dev/null) || true  # (it says on standard error that it would rather not run as root)
  [[ -z $lint ]] || sed 's/^/  lintian: /' <<<"$lint"
  check "lintian finds no error" test -z "$(grep '^E:' <<<"$lint")"
else echo "note: lintian is not installed; the package is not linted"; fi

# What is on the machine now, to compare with what is left at the end.
state=$(mktemp -d)
installed_packages() {
  dpkg-query -W -f='${db:Status-Abbrev} ${Package}:${Architecture} ${Version}\n' | awk '$1 !~ /^.n/' | sort
}
installed_packages >"$state/packages.before"
ls /var/cache/apt/archives >"$state/cache.before" 2>/dev/null || true
restore() {
  if present; then apt-get purge -y -q kestrand >/dev/null 2>&1 || true; fi
  # Packages this test brought in (man-db and what it needs) go again, and the archives apt downloaded for them.
  mapfile -t added < <(comm -13 <(awk '{print $2}' "$state/packages.before") <(installed_packages | awk '{print $2}'))
  if ((${#added[@]})); then DEBIAN_FRONTEND=noninteractive apt-get purge -y -q "${added[@]}" >/dev/null 2>&1 || true; fi
  local archive
  while IFS= read -r archive; do [[ $archive != *.deb ]] || rm -f "/var/cache/apt/archives/$archive"
  done < <(comm -13 "$state/cache.before" <(ls /var/cache/apt/archives 2>/dev/null))
  rm -rf "$state"
}
trap restore EXIT
export DEBIAN_FRONTEND=noninteractive

# man-db is needed to look the page up; a Debian image may also tell dpkg
# to leave manual pages out altogether.
if ! command -v man >/dev/null; then
  echo "note: man-db is not installed; installing it for this test (it is removed at the end)"
  apt-get install -y -q --no-install-recommends man-db >/dev/null
fi
man_excluded=$(grep -ls '^path-exclude.*/usr/share/man' /etc/dpkg/dpkg.cfg /etc/dpkg/dpkg.cfg.d/* 2>/dev/null || true)

apt-get install -y -q "$deb" >"$state/install.log" 2>&1 || { cat "$state/install.log"; fail "apt-get install $deb"; finish; exit; }
pass "apt-get install $deb"
listed=$(dpkg -L kestrand)

where=$(command -v kestrand || true)
check "kestrand is on PATH in an sbin directory (${where:-not found; PATH=$PATH})" \
  grep -q '/sbin/kestrand$' <<<"$where"
if [[ -n $where ]]; then
  usage=$(cd "$state" && kestrand '-?' 2>&1; echo "exit $?")
  check "kestrand -? prints the usage" test "$(head -1 <<<"$usage")" = \
    "kestrand [/f | -f file] [/a | -a] [/d | -d disk #] [/l | -l file] [/? | -? | /h | -h]"
  check "kestrand -? exits with 0" test "$(tail -1 <<<"$usage")" = "exit 0"
  built=$(realpath "$build/kestrand")
  check "the installed program prints the same usage as the build's" \
    test "$usage" = "$(cd "$state" && "$built" '-?' 2>&1; echo "exit $?")"
fi
if [[ -n $man_excluded ]]; then
  echo "NOTE: dpkg on this machine is configured not to install manual pages (path-exclude of" \
       "/usr/share/man in $man_excluded): man cannot find kestrand(8) here; the package holds it (checked above)"
else
  page=$(man -w 8 kestrand 2>/dev/null || true)
  check "man -w 8 kestrand finds the installed page (${page:-nothing})" test "$page" = /usr/share/man/man8/kestrand.8.gz
  # The page found is rendered with -l: "man 8 kestrand" run as root would
  # also leave a formatted copy in man-db's cache (/var/cache/man/cat8).
  if [[ -n $page ]]; then
    text=$(MANWIDTH=80 man -l "$page" 2>/dev/null | col -b 2>/dev/null || true)
    missing=""
    for switch in "-f file" "-a " "-d disk" "-l file" "-?, -h" "EXIT STATUS" "DISK NUMBERS" "kestrandanalysis.xml"; do
      grep -qF -- "$switch" <<<"$text" || missing+=" '$switch'"; done
    check "kestrand(8) documents every switch${missing:+ (missing:$missing)}" test -z "$missing"
    warnings=$(man --warnings -l "$page" 2>&1 >/dev/null || true)
    check "man renders kestrand(8) without warnings${warnings:+: $warnings}" test -z "$warnings"
  fi
fi

apt-get remove -y -q kestrand >/dev/null
# With no configuration files of its own the package is gone after the
# removal already; purge what may be left otherwise.
if present; then apt-get purge -y -q kestrand >/dev/null; fi
check "apt-get remove and purge leave no kestrand package" eval '! present'
left=""
while IFS= read -r path; do
  [[ $path == /. || -z $path ]] && continue
  if [[ -d $path && ! -L $path ]]; then
    # A directory stays only while another package owns it.
    dpkg -S "$path" >/dev/null 2>&1 || left+=" $path"
  elif [[ -e $path || -L $path ]]; then
    left+=" $path"
  fi
done <<<"$listed"
check "every file the package installed is gone${left:+ (left:$left)}" test -z "$left"

before=$(cat "$state/packages.before")
restore
trap - EXIT
changes=$(diff <(echo "$before") <(installed_packages) | grep '^[<>]' | tr '\n' ' ' || true)
check "the machine's packages are as they were${changes:+ (changed: $changes)}" test -z "$changes"
finish
