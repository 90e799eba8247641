# Operation, wall ratio, CPU ratio: one line each.
$1 ~ /^[A-Za-z]+ over hand-written, wall$/ { split($1, words, " "); names[++count] = words[1]; wall[count] = $2 }
$1 ~ /^[A-Za-z]+ over hand-written, CPU$/ { cpu[count] = $2 }
END { for (i = 1; i <= count; ++i) print names[i] "\t" wall[i] "\t" cpu[i] }
