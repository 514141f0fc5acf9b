# shellcheck shell=bash
# Sourced by scripts/install-test: two sites on one host, each with a proxy of its own in front of its Mux.

readonly hall_port=5555 annex_port=5565 hall_entrance=5556 annex_entrance=5557

# The commands of the guide, for the site hall.
set_up_commands() {
    sed -n "/^## Set-up/,/^## /s/^    //p" docs/proxy.md | sed "s/_amd64/_$(dpkg --print-architecture)/"
}

# The same for the site annex, on other ports.
set_up_commands_for_annex() {
    set_up_commands | sed -e 's/hall/annex/g' -e \
        "s#^cp \(\S*\) \(\S*\)#sed 's/hall/annex/; s/$hall_entrance/$annex_entrance/; s/$hall_port/$annex_port/' \1 >\2#"
}

# run_in_root: runs commands from the standard input, in the folder of the packages.
run_in_root() {
    in_container sh -ec 'cd /root && . /dev/stdin' >"$folder/set-up.log" 2>&1 \
        || { cat "$folder/set-up.log" >&2 && fail "the commands of the guide fail"; }
}

# with_certificate SITE CLIENT: for open_door.
with_certificate() {
    echo env "CERTIFICATES=$tree/root/$1-certificates" "CLIENT=$2"
}

# opens_through PORT SITE CLIENT
opens_through() {
    # shellcheck disable=SC2046 # words without blanks
    open_door "$1" in_network $(with_certificate "$2" "$3")
}

# is_turned_away PORT ALERT [CLIENT]: whether TLS ends with this alert for the client of the site hall, or for one
# without a certificate.
is_turned_away() {
    local certificate=()
    [ $# -lt 3 ] || certificate=(-cert "/root/hall-certificates/clients/$3.crt" -key "/root/hall-certificates/clients/$3.key")
    ! in_container timeout 20 openssl s_client -ign_eof -connect "127.0.0.1:$1" \
        -CAfile /root/hall-certificates/authority.crt "${certificate[@]}" </dev/null >"$folder/client.log" 2>&1 \
        && grep --quiet --ignore-case "alert $2" "$folder/client.log"
}

# has_row SITE CLIENT: whether the site's audit has an opening by the client.
has_row() {
    in_container mux-proxy audit --config "/etc/dw-hal-mux-proxy/$1.json" --client "$2" | grep -E ' open .* ack ' >/dev/null
}

start_the_annex() {
    start_simulator simulator-of-annex --port 2102
    in_container sh -c "sed 's/2101/2102/' /etc/dw-hal-mux/hall.json >/etc/dw-hal-mux/annex.json
        echo MUX_PORT=$annex_port >/etc/dw-hal-mux/annex.env"
    in_container systemctl restart "$annex"
    wait_until "an answer of the second site" open_door "$annex_port" in_network
}

set_up_proxies() {
    set_up_commands | run_in_root
    start_the_annex
    set_up_commands_for_annex | run_in_root
    open_man_pages "8 mux-proxy" "1 mux-proxy-certificates"
    wait_until "an answer through the proxy" opens_through "$hall_entrance" hall reception
    wait_until "an answer through the second site's proxy" opens_through "$annex_entrance" annex reception
    wait_until "a row of the audit" has_row hall reception
    wait_until "a row of the second site's audit" has_row annex reception
}

turn_clients_away() {
    is_turned_away "$hall_entrance" "certificate required" || { cat "$folder/client.log" >&2 && fail "a client without a certificate is not turned away"; }
    is_turned_away "$annex_entrance" "unknown ca" reception || { cat "$folder/client.log" >&2 && fail "a client of one site is not turned away from the other"; }
}

revoke_a_certificate() {
    local before
    before=$(in_container systemctl show --property=MainPID --value dw-hal-mux-proxy@hall)
    in_container sh -ec 'cd /root/hall-certificates
        mux-proxy-certificates . client guard && mux-proxy-certificates . revoke reception
        install -g dw-hal-mux-proxy -m 640 revoked.crl /etc/dw-hal-mux-proxy/hall/
        sed -i "s/\"reception\"/\"reception\", \"guard\"/" /etc/dw-hal-mux-proxy/hall.json
        systemctl reload dw-hal-mux-proxy@hall' >/dev/null || fail "the certificate cannot be revoked"
    wait_until "the end of a revoked certificate" is_turned_away "$hall_entrance" "certificate revoked" reception
    opens_through "$hall_entrance" hall guard || fail "after a revocation the proxy does not let others in"
    [ "$(in_container systemctl show --property=MainPID --value dw-hal-mux-proxy@hall)" = "$before" ] \
        || fail "a revocation restarted the proxy"
}

# has_metric LINE: whether the site's metrics have it.
has_metric() {
    in_network python3 -c 'import sys, urllib.request
lines = urllib.request.urlopen("http://127.0.0.1:9556/metrics", timeout=10).read().decode().splitlines()
sys.exit(sys.argv[1] not in lines)' "$1"
}

# A real broker of this machine, in the container's network.
tell_a_broker() {
    nsenter --target "$container_init" --net mosquitto -p 1883 >"$folder/broker.log" 2>&1 &
    broker=$!
    in_container sh -ec "cd /etc/dw-hal-mux-proxy
        sed -i '1s/{/{\"Metrics\": {}, \"StatusRound\": {}, \"Mqtt\": {\"Host\": \"127.0.0.1\", \"Site\": \"hall\"},/' hall.json
        systemctl restart dw-hal-mux-proxy@hall" || fail "a site with services does not start"
    wait_until "the connection to the broker" has_metric "mux_proxy_broker_connected 1"
    wait_until "an answer beside the services" opens_through "$hall_entrance" hall guard
    wait_until "the status of a lock" has_metric 'mux_proxy_requests_total{gateway="1",operation="status",result="ack"} 1'
    in_network timeout 20 mosquitto_sub -t 'dw-hal-mux/hall/gateway/1/lock/+/state' -C 1 >"$folder/state" \
        || fail "the broker has no state of a lock"
    kill -KILL "$broker"
    broker=
    wait_until "the loss of the broker" has_metric "mux_proxy_broker_connected 0"
}

# Logs in to the page of the site hall and opens a door there.
opens_on_page() {
    in_network python3 - "$tree/root/hall-certificates/authority.crt" <<'PYTHON'
import http.client, json, ssl, sys
context = ssl.create_default_context(cafile=sys.argv[1])
context.check_hostname = False
page = http.client.HTTPSConnection("127.0.0.1", 8443, timeout=30, context=context)
headers = {"Host": "hall:8443", "Origin": "https://hall:8443", "Content-Type": "application/json"}

def post(path, body):
    page.request("POST", path, json.dumps(body), headers)
    response = page.getresponse()
    answer = json.loads(response.read())
    headers["Cookie"] = (response.headers["Set-Cookie"] or headers.get("Cookie", "")).split(";")[0]
    return answer

headers["X-Token"] = post("/api/session", {"user": "guard", "password": "correct horse battery"})["token"]
answer = post("/api/requests", {"operation": "open", "gateway": 1, "lock": 5})
sys.exit(answer["result"] != "ack")
PYTHON
}

show_the_page() {
    in_container sh -ec "cd /etc/dw-hal-mux-proxy
        sed -i '1s#{#{\"Web\": {\"Users\": \"/etc/dw-hal-mux-proxy/hall/users\"},#' hall.json
        echo 'correct horse battery' | mux-proxy user guard --config hall.json
        mux-proxy --check --config hall.json
        systemctl restart dw-hal-mux-proxy@hall" >"$folder/page.log" 2>&1 \
        || { cat "$folder/page.log" >&2 && fail "a site with a page does not start"; }
    wait_until "a door opened on the page" opens_on_page
    in_container mux-proxy audit --config /etc/dw-hal-mux-proxy/hall.json --client guard | grep --quiet ' web 127.0.0.1 ' \
        || fail "the audit has no row of the page"
}

# connects_as USER PORT
connects_as() {
    in_container runuser -u "$1" -- python3 -c "import socket; socket.create_connection(('127.0.0.1', $2), timeout=10)" \
        2>"$folder/connect.log"
}

# The packages' rules, on which the Mux's own ports admit the proxy and the health check alone.
close_the_ports() {
    local user port
    connects_as games "$hall_port" || fail "without rules another user cannot reach the Mux"
    in_container sh -ec "cd /usr/share/doc/dw-hal-mux-proxy/examples
        sed 's/{ 5555 }/{ $hall_port, $annex_port }/' nftables-proxy.conf >/etc/nftables-proxy.conf
        nft --file /etc/nftables-proxy.conf && nft --file /etc/nftables-proxy.conf"
    for user in games root; do
        for port in "$hall_port" "$annex_port"; do
            ! connects_as "$user" "$port" || fail "$user reaches the Mux on $port past its proxy"
            grep --quiet ConnectionRefusedError "$folder/connect.log" || fail "the rules do not refuse $user: see nftables-proxy.conf"
        done
    done
    # Reading the audit as root while no proxy runs must leave it to the proxy.
    in_container systemctl stop dw-hal-mux-proxy@hall dw-hal-mux-proxy@annex
    has_row hall guard || fail "the audit of a stopped proxy has no row"
    in_container systemctl start dw-hal-mux-proxy@hall dw-hal-mux-proxy@annex
    wait_until "an answer behind the closed port" opens_through "$hall_entrance" hall guard
    wait_until "an answer behind the second closed port" opens_through "$annex_entrance" annex reception
    in_container systemctl start dw-hal-mux-health@hall || fail "the health check does not reach the Mux any more"
    in_container sh -c 'nft flush ruleset && rm /etc/nftables-proxy.conf'
}

purge_proxies() {
    [ -n "$(running mux-proxy)" ] || fail "no proxy runs"
    in_container apt-get --quiet=2 --yes remove dw-hal-mux-proxy >/dev/null
    [ -z "$(running mux-proxy)" ] || fail "a proxy still runs when its package is removed"
    in_container test -e /var/lib/dw-hal-mux-proxy/hall/audit.db || fail "removing took the audit away"
    in_container apt-get --quiet=2 --yes purge dw-hal-mux-proxy >/dev/null
    in_container systemctl stop "$annex" simulator-of-annex
}
