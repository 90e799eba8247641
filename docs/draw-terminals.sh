#!/usr/bin/env bash
# Draws the pictures of docs/CLI.md, docs/varnel-*.svg, each from a run of varnel in a terminal.
# draw-terminals.sh DIRECTORY: where varnel and varnel-emulator were built (build/dev, say).
set -euo pipefail
docs=$(cd "$(dirname "$0")" && pwd)
PATH=$(realpath "$1/cli"):$(realpath "$1/emulator"):$PATH
[[ -n ${VARNEL_EMULATOR_URL:-} ]] || exec varnel-emulator exec -- "$docs/$(basename "$0")" "$1"
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
cd "$work"
export HOME=$work LC_ALL=C.UTF-8 TERM=xterm
unset NO_COLOR

# Draws what a terminal of $1 columns shows in the end of the command $2, whose output is on stdin.
draw() {
    perl -CSDA -e '
        my ($columns, $command) = @ARGV;
        my ($advance, $height, $margin) = (8.43, 19, 16);
        my @rows = ("\e[1m\$ $command\e[0m");
        for my $line (split /\r?\n/, do { local $/; <STDIN> }) {
            $line =~ s/.*\r\e\[K//;
            push @rows, $line =~ /\e/ ? $line : $line =~ /.{1,$columns}/g;
        }
        printf "<svg xmlns=\"http://www.w3.org/2000/svg\" width=\"%d\" height=\"%d\" font-size=\"14\" " .
            "font-family=\"DejaVu Sans Mono, Menlo, Consolas, monospace\">\n<title>%s</title>\n" .
            "<rect width=\"100%%\" height=\"100%%\" rx=\"8\" fill=\"#1d2128\"/>\n<g fill=\"#dfe3ea\">\n",
            $columns * $advance + 2 * $margin, @rows * $height + 2 * $margin, $command;
        my $y = $margin - 5;
        for my $row (@rows) {
            $row =~ s/&/&amp;/g;
            $row =~ s/</&lt;/g;
            $row =~ s/\e\[1m/<tspan font-weight="bold">/g;
            $row =~ s/\e\[0m/<\/tspan>/g;
            $y += $height;
            print "<text x=\"$margin\" y=\"$y\" xml:space=\"preserve\">$row</text>\n";
        }
        print "</g>\n</svg>\n"' "$1" "$2"
}

# show NAME COLUMNS COMMAND [SECONDS]: the picture shows what is there after so many seconds.
show() {
    # The status is that of varnel, which fails or is ended in two of the pictures.
    { script -qec "stty cols $2; ${4:+timeout --foreground $4} $3" /dev/null </dev/null || true; } |
        draw "$2" "$3" >"$docs/varnel-$1.svg"
}

start() {
    varnel execution start sim-bridge --data "{\"steps\": $1}" --query /id --quiet
}

start 100 >id
start 200 >/dev/null
show watch 72 "varnel execution watch sim-bridge $(<id)" 12
start 400 >/dev/null
show list 120 'varnel execution list sim-bridge --limit 4'

# A token whose group has no host.
text=$(printf '{"groups":["bridges"],"exp":4102444800}' | base64 -w0)
echo '{"environment": "staging", "environments": {"staging": {"apiHost": "localhost"}}}' >varnel.json
export VARNEL_CONFIG=varnel.json VARNEL_TOKEN=e30.${text//=/}.
show doctor 120 'varnel doctor'
