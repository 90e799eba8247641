# Prints a document with figures in its tables, each between "<!-- figures: NAME -->" and "<!-- end of figures -->";
# a table without new figures stays: awk -f record-figures.awk -v taken="WHEN AND ON WHAT" FIGURES DOCUMENT
BEGIN { FS = "\t" }

# Figures that differ in an operation or a size alone share a row.
function name_row(figure) {
    sub(/^(client|retries|reliability): /, "", figure)
    if (figure !~ /instructions/) sub(/^[A-Za-z]+ over hand-written, /, "each operation over hand-written, ", figure)
    sub(/^(answer|body) of [0-9]+ MB/, "answers and bodies of 1, 10 and 100 MB", figure)
    return figure
}

function name_table(figure) {
    if (match(figure, /^(client|retries|reliability): /)) return substr(figure, 1, RLENGTH - 2)
    if (figure ~ /study|window of 64/) return "studies"
    return figure ~ /emulator|with 100,000/ ? "emulator" : "connector"
}

function print_row(row,   goal, seen) {
    goal = goals[row]
    sub(/^<= /, "at most ", goal)
    sub(/^>= /, "at least ", goal)
    sub(/^= /, "", goal)
    seen = low[row] == high[row] ? low[row] : low[row] " to " high[row]
    print "| " row " | " goal " | " (isMissed[row] ? "**" seen "**" : seen) " |"
}

FNR == NR {
    row = name_row($1)
    if (!(row in goals)) { rows[++count] = row; tables[count] = name_table($1); low[row] = high[row] = $2 }
    goals[row] = $3
    if ($2 + 0 < low[row] + 0) low[row] = $2
    if ($2 + 0 > high[row] + 0) high[row] = $2
    split($3, goal, " ")
    if (goal[1] == "<=" && $2 > goal[2] || goal[1] == ">=" && $2 < goal[2] || goal[1] == "=" && $2 != goal[2]) isMissed[row] = 1
    next
}

/^<!-- end of figures -->$/ { isInside = 0 }
isInside { next }
{ print }
/^<!-- figures: / {
    table = $0
    gsub(/^<!-- figures: | -->$/, "", table)
    for (i = 1; i <= count; ++i) if (tables[i] == table) {
        if (!isInside++) print "\n| Figure | Goal | Seen |\n|---|---|---|"
        print_row(rows[i])
    }
    if (isInside) print "\n" taken "\n"
}
