#!/bin/sh
# SPDX-License-Identifier: Apache-2.0
# Installs the packages beside this file into the Debian that it runs in, tries them as an ordinary
# user, removes them, and compares what is left with what was there. Only for a Debian that nobody
# needs any more: scripts/check-packages makes one.
set -eu
cd /mnt/round_trip
# shellcheck source=scripts/simulator.sh
. ./simulator.sh
export DEBIAN_FRONTEND=noninteractive LC_ALL=C.UTF-8

fail() {
    printf 'round trip: %s\n' "$*" >&2
    exit 1
}

expect_contains() {
    case $1 in *"$2"*) ;; *) fail "expected to find: $2" "in: $1" ;; esac
}

quietly() {
    "$@" >output 2>&1 </dev/null || {
        cat output >&2
        fail "this failed: $*"
    }
}

apt() {
    quietly apt-get -qq -y --no-install-recommends "$@"
}

# Everything in this Debian: path, type, mode, owner, where a link leads; then what files hold.
# Contents change, as they must, in the records, logs and caches of dpkg, apt and ldconfig.
everything() {
    find / -xdev \( -path /mnt -o -path /proc -o -path /sys -o -path /dev \) -prune \
        -o -printf '%p %y %m %u:%g %l\n' | sort
    find / -xdev \( -path /mnt -o -path /proc -o -path /sys -o -path /dev -o -path /var/log \
        -o -path /var/cache -o -path /var/lib/apt -o -path '/var/lib/dpkg/status*' \) -prune \
        -o -type f -exec sha256sum {} + | sort
}

# Without privileges, home or environment.
ordinary_user() {
    setpriv --reuid=nobody --regid=nogroup --clear-groups --no-new-privs \
        env -i PATH=/usr/bin:/bin IPMI_PASSWORD="${IPMI_PASSWORD-}" "$@"
}
for name in simulator exporter; do
    cat >$name <<EOT
#!/bin/sh
exec setpriv --reuid=nobody --regid=nogroup --clear-groups --no-new-privs vkt-$name "\$@"
EOT
    chmod +x $name
done
trap stop_simulator EXIT

names=$(for file in *.deb; do dpkg-deb --field "$file" Package; done)

installs() {
    apt update
    # What Debian brings along stays; so it is there before we look for the first time.
    dependencies=$(apt-get -s -qq --no-install-recommends install ./*.deb | awk '
        $1 == "Inst" { print $2 }' | grep -vxF "$names")
    # shellcheck disable=SC2086 # a list of words
    apt install $dependencies
    everything >before
    apt install ./*.deb
    # shellcheck disable=SC2086 # a list of words
    quietly dpkg --verify $names
    for name in $names; do
        dpkg-query -W -f '  installed: ${Package} ${Version} ${Architecture}\n' "$name"
    done
    printf '  with %s packages of Debian\n' "$(printf '%s\n' "$dependencies" | wc -l)"
}

paths() {
    # shellcheck disable=SC2086 # a list of words
    dpkg-query -L $names | sed '/^$/d;/^\/\.$/d' | sort -u
}

# Owner and mode of all that was installed: root's, writable by nobody else, programs alone executable.
files_have_right_modes() {
    paths | while read -r path; do
        mode=$(stat -c '%F %a %U:%G' "$path")
        case $path:$mode in
        *:"directory 755 root:root" | *:"symbolic link 777 root:root") ;;
        /usr/bin/*:"regular file 755 root:root") ;;
        /usr/bin/*) fail "$path: $mode" ;;
        *:"regular file 644 root:root") ;;
        *) fail "$path: $mode" ;;
        esac
    done
    printf '  %s files and folders have the right owners and modes\n' "$(paths | wc -l)"
}

documentation_is_there() {
    for page in man1/vktinventory.1 man1/vkt-exporter.1 man1/vkt-simulator.1 man3/vktinventory.3 \
        man3/libvktenclosure.3 man5/vktinventory.toml.5 man5/fleet.toml.5 man5/vkt-scenario.5; do
        gzip -t "/usr/share/man/$page.gz" || fail "no manual page $page"
    done
    for name in $names; do
        for file in copyright changelog.gz changelog.Debian.gz; do
            [ -s "/usr/share/doc/$name/$file" ] || fail "no $file of $name"
        done
    done
    for file in vktinventory/inventory.schema.json vktinventory/json.md vktinventory/fleet.md \
        vktinventory/readings.md libvktinventory-dev/examples/machine_type/machine_type.cpp \
        libvktinventory-dev/examples/host_program/host_program.cpp \
        libvktinventory-dev/examples/poller/poller.cpp; do
        [ -s "/usr/share/doc/$file" ] || fail "no /usr/share/doc/$file"
    done
    for program in vktinventory vkt-exporter vkt-simulator; do
        for file in bash-completion/completions/$program zsh/vendor-completions/_$program; do
            [ -s "/usr/share/$file" ] || fail "no completion $file"
        done
    done
    for file in monitoring/nagios/vktinventory.cfg scenarios/healthy-first.json scenarios/slow.json; do
        [ -s "/usr/share/vktinventory/$file" ] || fail "no /usr/share/vktinventory/$file"
    done
    for file in share/vkt-exporter/alerts/vkt.rules.yml share/vkt-exporter/dashboards/vkt.json \
        share/doc/vkt-exporter/prometheus.md share/doc/vkt-exporter/examples/prometheus.yml \
        lib/systemd/system/vkt-exporter.service; do
        [ -s "/usr/$file" ] || fail "no /usr/$file"
    done
    echo "  manual pages, documents, examples, completions, scenarios, copyright and changelogs are there"
}

versions_are_the_packages() {
    for name in vktinventory vkt-exporter vkt-simulator; do
        version=$(dpkg-query -W -f '${Version}' $name)
        output=$(ordinary_user $name --version)
        [ "$output" = "$name ${version%-*}" ] || fail "the package of $version says $output"
        echo "  $name --version: $output"
    done
}

# show TRANSPORT FLAG...
show() {
    transport=$1
    shift
    output=$(ordinary_user vktinventory -H "$simulator_host" -U "$simulator_user" -E "$@" show)
    expect_contains "$output" "Serial number     J30ABC12"
    printf '  show over %s: %s lines, with the right serial number\n' "$transport" \
        "$(printf '%s\n' "$output" | wc -l)"
}

show_reads_the_simulator() {
    start_simulator ./simulator healthy-vkt2-fe-2
    show RMCP+ -p "$simulator_port"
    show HTTPS -I https -p "$simulator_https_port" --ca-file "$simulator_ca_file"
    stop_simulator
}

# fetch HOST:PORT PATH: by the Perl that every Debian has.
fetch() {
    perl -MIO::Socket::INET -e '$s = IO::Socket::INET->new($ARGV[0]) or die "$!";
        print $s "GET $ARGV[1] HTTP/1.0\r\nHost: localhost\r\n\r\n"; print while <$s>' "$@"
}

# As the service has it: a fleet file of root's, the password as a credential.
exporter_serves_the_simulator() {
    start_simulator ./simulator healthy-vkt2-fe-2
    mkdir credentials
    printf '%s\n' "$IPMI_PASSWORD" >credentials/fleet.password
    chown -R nobody credentials
    chmod 400 credentials/fleet.password
    printf '[defaults]\nuser = "%s"\npassword-file = "fleet.password"\n[[group]]\nname = "rack1"\nhosts = ["%s:%s"]\n' \
        "$simulator_user" "$simulator_host" "$simulator_port" >fleet.toml
    CREDENTIALS_DIRECTORY=$PWD/credentials ./exporter --fleet fleet.toml \
        --web.listen-address 127.0.0.1:0 2>exporter.log &
    exporter=$!
    tries=100
    until grep -q 'listening on' exporter.log; do
        tries=$((tries - 1))
        [ $tries -gt 0 ] || fail "vkt-exporter does not listen: $(cat exporter.log)"
        sleep 0.1
    done
    output=$(fetch "$(sed -n 's/.*listening on http:\/\/\([^"]*\)".*/\1/p' exporter.log)" \
        "/probe?target=$simulator_host:$simulator_port")
    kill $exporter
    wait $exporter || fail "vkt-exporter does not end well: $(cat exporter.log)"
    expect_contains "$output" 'serial_number="J30ABC12"'
    printf '  vkt-exporter: %s series of an enclosure, with the right serial number\n' \
        "$(printf '%s\n' "$output" | grep -c '^vkt_')"
    stop_simulator
}

simulator_without_ipmi_sim_says_so() {
    mv /usr/bin/ipmi_sim /usr/bin/ipmi_sim.hidden
    output=$(ordinary_user timeout 60 vkt-simulator --scenario healthy-first 2>&1) &&
        fail "the simulator runs without ipmi_sim: $output"
    mv /usr/bin/ipmi_sim.hidden /usr/bin/ipmi_sim
    expect_contains "$output" "install the Debian package openipmi"
    echo "  without ipmi_sim: $output"
}

leaves_no_trace() {
    # shellcheck disable=SC2086 # a list of words
    apt purge $names
    everything >after
    diff before after >difference || {
        cat difference >&2
        fail "purging the packages does not bring back what was there before (<)"
    }
    printf '  purged; path, type, mode, owner and contents of %s files and folders are as before\n' \
        "$(grep -c '^/' after)"
    echo "  (not compared: contents of the records, logs and caches of dpkg, apt and ldconfig)"
}

installs
files_have_right_modes
documentation_is_there
versions_are_the_packages
show_reads_the_simulator
exporter_serves_the_simulator
simulator_without_ipmi_sim_says_so
leaves_no_trace
