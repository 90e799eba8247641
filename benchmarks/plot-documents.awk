# Kind and size, time ratio, memory ratio: one line each.
$1 ~ / MB over hand-written, wall$/ { name = $1; sub(/ over.*/, "", name); names[++count] = name; wall[name] = $2 }
$1 ~ / MB over hand-written, peak memory$/ { name = $1; sub(/ over.*/, "", name); memory[name] = $2 }
END { for (i = 1; i <= count; ++i) print names[i] "\t" wall[names[i]] "\t" memory[names[i]] }
