# Operation, wall ratio, CPU ratio: one line each.
{ split($1, words, " ") }
$1 ~ /^[A-Za-z]+ over hand-written, wall$/ { names[++count] = words[1]; wall[words[1]] = $2 }
$1 ~ /^[A-Za-z]+ over hand-written, CPU$/ { cpu[words[1]] = $2 }
END { for (i = 1; i <= count; ++i) print names[i] "\t" wall[names[i]] "\t" cpu[names[i]] }
