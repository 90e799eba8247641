set terminal svg size 1000,420 font "sans-serif,12" background "white"
set title "Each operation over the same request written by hand (1.0: the same)"
set xrange [-0.7:16.7]
set yrange [0.94:1.06]
set ylabel "ratio"
set grid
set key outside top center horizontal
set xtics rotate by -35 nomirror
plot data using 0:2:xtic(1) title "wall time" with points pointtype 7 linecolor rgb "#3b6ea5", \
     data using 0:3 title "CPU time" with points pointtype 5 linecolor rgb "#c98b2b", \
     1.02 title "goal" with lines linecolor rgb "#b03030" dashtype 2
