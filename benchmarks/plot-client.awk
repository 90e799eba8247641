# Ratio, figure, goal or nothing: one line each.
/^client: / && !/MiB/ { name = $1; sub(/^client: /, "", name); sub(/^<=|^>=/, "", $3); print $2 "\t" name "\t" ($3 == "" ? "?" : $3) }
