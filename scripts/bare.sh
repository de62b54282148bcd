# shellcheck shell=bash
# Bare Debian systems, for the scripts that try things where nothing but a system is. Sourced after lib.sh; needs root.

need_bare_systems() {
  [[ $EUID == 0 ]] || fail "needs root, for debootstrap and chroot"
  command -v debootstrap >/dev/null || quietly apt-get install -y --no-install-recommends debootstrap
}

# A bare system of the suite $1 in build/bare/$2, new each time; the one it is copied from is made once.
make_root() {
  local base=build/bare/$1 root=build/bare/$2
  if [[ ! -f $base/.complete ]]; then
    step "Making a bare $1 in $base"
    rm -rf "$base"
    mkdir -p build/bare
    quietly debootstrap --variant=minbase "$1" "$base"
    touch "$base/.complete"
  fi
  remove_root "$root"
  cp -a --reflink=auto "$base" "$root"
}

remove_root() { rm -rf --one-file-system "$1"; }

# What apt and pip of this machine need to reach their servers, where that is more than a name server.
give_network() {
  local root=$1 file
  cp -L /etc/resolv.conf /etc/hosts "$root/etc/"
  rm -f "$root/etc/apt/sources.list"
  for file in /etc/apt/sources.list /etc/apt/sources.list.d /etc/apt/trusted.gpg.d /etc/apt/keyrings \
              /usr/share/keyrings /usr/local/share/ca-certificates /etc/pip.conf "${PIP_FIND_LINKS:-/none}"; do
    [[ ! -e $file ]] || { mkdir -p "$root${file%/*}" && cp -aT "$file" "$root$file"; }
  done
  grep -rlE '^Acquire::' /etc/apt/apt.conf.d | xargs -r cp -t "$root/etc/apt/apt.conf.d"
  mkdir -p "$root/etc/ssl/certs"
  cp -L /etc/ssl/certs/ca-certificates.crt "$root/etc/ssl/certs/"
}

mapfile -t network_environment < <(env | grep -E '^(PIP_[A-Z_]*|[a-z]*_proxy|[A-Z]*_PROXY|SSL_CERT_FILE)=')

# Runs a command in the system $2, in namespaces of its own, $1 among them: processes end and mounts go with the command.
# Of the environment it has what pip and apt are told by.
enter() {
  local space=$1 root=$2
  shift 2
  # shellcheck disable=SC2016  # for the inner shell
  env -i PATH=/usr/local/sbin:/usr/local/bin:/usr/sbin:/usr/bin:/sbin:/bin HOME=/root LC_ALL=C.UTF-8 \
    DEBIAN_FRONTEND=noninteractive "${network_environment[@]}" unshare --mount --pid --fork "$space" sh -c \
    'mount -t proc proc "$0/proc" && mount --rbind /sys "$0/sys" && mount --rbind /dev "$0/dev" && exec chroot "$0" "$@"' \
    "$root" "$@"
}
inside() { enter --net "$@"; }  # without a network
inside_online() { enter --mount "$@"; }
