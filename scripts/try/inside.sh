#!/bin/bash
# Runs within the clean root, see scripts/try-packages.sh.
set -euo pipefail
cd /packages
names=$(for file in *.deb; do dpkg-deb -f "$file" Package; done)
export QT_QPA_PLATFORM=offscreen
trap 'kill $(jobs -p) 2>/dev/null || true' EXIT

apt-get update -qq
apt-get install -y -qq --no-install-recommends ./*.deb tshark unzip >/dev/null 2>install.log \
    || { cat install.log; exit 1; }
echo "installed: " $names
useradd -m someone
as_user() { runuser -u someone -- env HOME=/home/someone "$@"; }

serving() {
    for _ in $(seq 300); do
        port=$(sed -n 's/.*serving control port \([0-9]*\).*/\1/p' "$1" 2>/dev/null) || true
        [ -z "$port" ] || return 0
        sleep 0.1
    done
    echo "$1 is silent"
    exit 1
}

design=/usr/share/sem-background/sample-chip.gds
microscope-simulator --port 0 --design "$design" >simulator.log &
simulator=$!
serving simulator.log
microscope=$port
microscope-recorder --microscope "127.0.0.1:$microscope" --listen 127.0.0.1:0 --write session.pcap \
    >recorder.log &
recorder=$!
serving recorder.log
echo "simulator and recorder serve"

# shows USER PACKAGE: KLayout, with a home that has nothing but what hides its tip, shows the image.
shows() {
    local home
    home=$(getent passwd "$1" | cut -d: -f6)
    install -D -o "$1" -m 644 klayoutrc "$home/.klayout/klayoutrc"
    chown "$1" "$home/.klayout"
    # It ignores SIGTERM.
    timeout -s KILL 120 runuser -u "$1" -- env "HOME=$home" "SEM_MICROSCOPE=127.0.0.1:$port" \
        "SEM_PACKAGE=$2" klayout "$design" -rm /packages/shows.py \
        >klayout.log 2>&1 || true
    grep '^the image comes' klayout.log || { cat klayout.log recorder.log; exit 1; }
}
shows root /usr/lib/klayout/salt # leaves compiled modules behind
shows someone /usr/lib/klayout/salt

list_files() { dpkg -L $names | while read -r path; do [ -d "$path" ] || echo "$path"; done; }
list_files >installed
[ -s installed ]

# The archive in a user's own folder, in place of the package.
apt-get purge -y -qq klayout-sem-background sem-background >/dev/null 2>&1
unzip -q klayout-sem-background-*.zip
echo '<salt-mine/>' >index.xml # else it asks the network which packages there are
as_user KLAYOUT_SALT_MINE=/packages/index.xml klayout -b -y /packages/sem-background >/dev/null
shows someone /home/someone/.klayout/salt

kill -INT "$recorder"
wait "$recorder"
tshark -r session.pcap -o "microscope.ports:$microscope-$((microscope + 1))" \
    -Y 'microscope.scan.pixels > 0' >scans 2>/dev/null
[ -s scans ] || { echo "the dissector saw no scan data"; exit 1; }
echo "Wireshark's dissector names $(wc -l <scans) messages of scan data"
kill "$simulator"
wait "$simulator" || true

for page in microscope-simulator microscope-recorder; do
    [ "$(zcat /usr/share/man/man1/$page.1.gz | head -1 | cut -d' ' -f1)" = .TH ]
done
apt-get purge -y -qq sem-background-tools sem-background-wireshark >/dev/null 2>&1
left=$(while read -r path; do [ ! -e "$path" ] && [ ! -L "$path" ] || echo "$path"; done <installed
    find /etc /opt /usr /var -name '*sem-background*' -not -path '/var/lib/apt/*' -not -path '/var/cache/*')
[ -z "$left" ] || { echo "left behind: $left"; exit 1; }
echo "removed: nothing is left"
