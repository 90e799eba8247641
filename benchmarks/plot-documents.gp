set terminal svg size 1000,420 font "sans-serif,12" background "white"
set title "Large documents over the same code written by hand (1.0: the same)"
set xrange [-0.7:5.7]
set yrange [0.8:1.1]
set ylabel "ratio"
set grid
set key outside top center horizontal
set datafile separator "\t"
set xtics nomirror
plot data using 0:2:xtic(1) title "wall time" with points pointtype 7 linecolor rgb "#3b6ea5", \
     data using 0:3 title "peak memory" with points pointtype 5 linecolor rgb "#c98b2b", \
     1.06 title "goal, time" with lines linecolor rgb "#3b6ea5" dashtype 2, \
     1.02 title "goal, memory" with lines linecolor rgb "#c98b2b" dashtype 2
