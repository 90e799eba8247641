set terminal svg size 1000,480 font "sans-serif,12" background "white"
set title "ServiceClient over code that does the same (1.0: as long, or as many)"
set datafile separator "\t"
set datafile missing "?"
set xrange [0.4:1.6]
set yrange [*:*] reverse
set offsets 0, 0, 0.7, 0.7
set lmargin 62
set grid
set key outside bottom center horizontal width -8
plot data using 1:0:ytic(2) title "measured" with points pointtype 7 linecolor rgb "#3b6ea5", \
     data using 3:0 title "goal: at most, for 16 threads at least" with points pointtype 2 linecolor rgb "#b03030"
