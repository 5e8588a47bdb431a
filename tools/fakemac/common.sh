# shellcheck shell=sh disable=SC2154,SC2034
# Sourced by the networksetup, ifconfig and osascript stand-ins after they set fm_command. Everything
# the simulated Mac knows lives in the state folder $FAKEMAC_STATE; nothing is written anywhere else.

if [ -z "${FAKEMAC_STATE:-}" ]; then
    echo "$fm_command (simulated): FAKEMAC_STATE is not set; it must name the folder that holds the simulated machine" >&2
    exit 1
fi

fm_state=$FAKEMAC_STATE
fm_services=$fm_state/services

# One line per call, before anything can fail, so that a test sees even the calls that were refused. The
# line is written in one piece: commands run at once must not interleave their lines.
fm_log() {
    mkdir -p "$fm_state" || exit 1
    fm_line=$fm_command
    fm_tab=$(printf '\t')
    for fm_arg in "$@"; do
        fm_line="$fm_line$fm_tab$fm_arg"
    done
    printf '%s\n' "$fm_line" >>"$fm_state/calls.log"
}

# The default machine: a laptop with built-in Ethernet on a fixed address, Wi-Fi on a DHCP lease, a
# USB adapter without a cable, the Thunderbolt bridge, a disabled iPhone tether and an L2TP VPN.
fm_default_services() {
    cat <<'EOF'
1|Ethernet|Ethernet|en0|1|manual|192.168.1.201|255.255.255.0|192.168.1.1
2|Wi-Fi|Wi-Fi|en1|1|dhcp|10.0.0.23|255.255.255.0|10.0.0.1
3|USB 10/100/1000 LAN|USB 10/100/1000 LAN|en5|1|dhcp|||
4|Thunderbolt Bridge|Thunderbolt Bridge|bridge0|1|dhcp|||
5|iPhone USB|iPhone USB|en6|0|dhcp|||
6|Office VPN|VPN (L2TP)||1|dhcp|||
EOF
}

# The gate: while the file hold exists, a call that it names waits, after its line is in calls.log and
# before it does anything. An empty hold names every call; otherwise it holds one word, matched against
# the command's name and each argument ("-setmanual", "ifconfig", "Wi-Fi"). A test forces the order of
# events with it: it sees the call logged, does what must happen meanwhile, then removes the file.
fm_hold() {
    while [ -f "$fm_state/hold" ]; do
        fm_word=$(tr -d '\r\n' <"$fm_state/hold")
        [ -z "$fm_word" ] || [ "$fm_word" = "$fm_command" ] || {
            fm_named=
            for fm_arg in "$@"; do
                [ "$fm_arg" = "$fm_word" ] && fm_named=1
            done
            [ -n "$fm_named" ]
        } || return 0
        sleep 0.05
    done
}

# Creates the default machine when needed, waits at the gate and for the configured delay, and reads the
# failure switches into fm_fail (one or more words). With "silent" the command ends here, printing nothing.
fm_prepare() {
    fm_hold "$@"
    if [ ! -f "$fm_services" ]; then
        fm_default_services >"$fm_services.$$" && mv "$fm_services.$$" "$fm_services" || exit 1
    fi
    if [ -f "$fm_state/delay" ]; then
        fm_delay=$(tr -d ' \t\r\n' <"$fm_state/delay")
        [ -n "$fm_delay" ] && sleep "$fm_delay"
    fi
    fm_fail=
    if [ -f "$fm_state/fail" ]; then
        fm_fail=$(tr '\t\r\n' '   ' <"$fm_state/fail")
    fi
    if fm_failing silent; then
        exit 0
    fi
}

# Whether the failure switch $1 is on.
fm_failing() {
    case " $fm_fail " in
    *" $1 "*) return 0 ;;
    esac
    return 1
}

# The real networksetup prints its errors on standard output; the file errors-to-stdout asks for that.
fm_error() {
    if [ -e "$fm_state/errors-to-stdout" ]; then
        printf '%s\n' "$@"
    else
        printf '%s\n' "$@" >&2
    fi
}

fm_usage() {
    printf '%s\n' "$@" >&2
    exit 1
}

# Prints a replay file byte for byte and ends the command, if the file exists.
fm_replay() {
    if [ -f "$fm_state/replay/$1" ]; then
        cat "$fm_state/replay/$1"
        exit 0
    fi
}

# The services sorted by their order number, blank lines dropped.
fm_sorted_services() {
    grep -v '^[[:space:]]*$' "$fm_services" | sort -t '|' -k 1,1n
}

# awk helpers shared by both commands: the hardware address of a device, the dotted-quad test and
# the bit-wise pieces of an IPv4 address that ifconfig prints.
fm_awk_lib='
function fm_mac(dev,    n) {
    n = dev
    sub(/^[^0-9]*/, "", n)
    n = n + 0
    return sprintf("a8:20:66:4b:%02x:%02x", n % 256, (n * 41 + 17) % 256)
}
function fm_is_quad(text,    parts, count, i) {
    count = split(text, parts, ".")
    if (count != 4)
        return 0
    for (i = 1; i <= 4; i++)
        if (parts[i] !~ /^[0-9][0-9]?[0-9]?$/ || parts[i] + 0 > 255)
            return 0
    return 1
}
function fm_or(a, b,    bit, result) {
    result = 0
    for (bit = 128; bit >= 1; bit /= 2)
        if (int(a / bit) % 2 || int(b / bit) % 2)
            result += bit
    return result
}
function fm_hex_mask(mask,    m) {
    split(mask, m, ".")
    return sprintf("0x%02x%02x%02x%02x", m[1], m[2], m[3], m[4])
}
function fm_broadcast(ip, mask,    a, m) {
    split(ip, a, ".")
    split(mask, m, ".")
    return fm_or(a[1], 255 - m[1]) "." fm_or(a[2], 255 - m[2]) "." fm_or(a[3], 255 - m[3]) "." fm_or(a[4], 255 - m[4])
}
'
