# SPDX-License-Identifier: Apache-2.0
# shellcheck shell=sh
# To be sourced: enclosures on loopback, for scripts that show or test something on them.

simulator_pid=
simulator_dir=

# endpoint TRANSPORT MEMBER: where the enclosure answers, as the simulator's endpoints tell it: "rmcp":
# {...}, "https": {...}.
endpoint() {
    printf '%s\n' "$endpoints" |
        sed -n 's/.*"'"$1"'": *{[^}]*"'"$2"'": *"\{0,1\}\([^",}]*\).*/\1/p'
}

# launch PROGRAM WORD...: starts a simulator, whose lines are read from descriptor 3 then.
launch() {
    simulator_dir=${simulator_dir:-$(mktemp -d)}
    mkfifo "$simulator_dir/endpoints"
    "$@" >"$simulator_dir/endpoints" &
    simulator_pid=$!
    exec 3<"$simulator_dir/endpoints"
}

# shellcheck disable=SC2034 # what it sets is for the script that sources this
# start_simulator PROGRAM SCENARIO: returns when the enclosure answers at $simulator_host, over RMCP+
# at $simulator_port and over HTTPS at $simulator_https_port with the certificate in
# $simulator_ca_file, to $simulator_user with the password in IPMI_PASSWORD. A simulator that cannot
# start says why itself.
start_simulator() {
    launch "$1" --scenario "$2"
    read -r endpoints <&3 || return 1
    simulator_host=$(endpoint rmcp address)
    simulator_port=$(endpoint rmcp port)
    simulator_https_port=$(endpoint https port)
    simulator_ca_file=$(endpoint https certificateFile)
    simulator_user=$(endpoint rmcp user)
    IPMI_PASSWORD=$(endpoint rmcp password)
    export IPMI_PASSWORD
}

# start_fleet COUNT PROGRAM WORD...: returns when COUNT enclosures answer.
start_fleet() {
    left=$1
    shift
    launch "$@"
    while [ "$left" -gt 0 ]; do
        read -r endpoints <&3 || return 1
        left=$((left - 1))
    done
}

# Returns when every answer is as the scenario files are now.
reload_simulator() {
    kill -USR1 "$simulator_pid"
    read -r endpoints <&3
}

stop_simulator() {
    if [ -n "$simulator_pid" ]; then
        kill "$simulator_pid" 2>/dev/null || true
        wait "$simulator_pid" 2>/dev/null || true
    fi
    exec 3<&-
    rm -rf "$simulator_dir"
    simulator_pid=
    simulator_dir=
}
