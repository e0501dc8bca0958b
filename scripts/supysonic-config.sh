# Sourced by the scripts that run supysonic: writes the server's configuration into a state
# folder (its database, cache and daemon socket live there; supysonic reads supysonic.conf from
# its working directory, so the server is started from that folder).
write_supysonic_config() {
  local state="$1"
  mkdir -p "$state/cache"
  cat >"$state/supysonic.conf" <<CONF
[base]
database_uri = sqlite:///$state/supysonic.db
[webapp]
cache_dir = $state/cache
log_level = WARNING
[daemon]
socket = $state/daemon.sock
run_watcher = no
CONF
}
