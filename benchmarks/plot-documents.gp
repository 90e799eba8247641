set terminal svg size 1000,420 font "sans-serif,12" background "white"
set title "Large documents over the same code written by hand (1.0: the same)"
set style data histograms
set style fill solid 0.8 noborder
set boxwidth 0.9
set yrange [0.9:1.1]
set ylabel "ratio"
set grid ytics
set key outside top right
set datafile separator "\t"
set xtics nomirror
plot data using 2:xtic(1) title "wall time" linecolor rgb "#3b6ea5", \
     data using 3 title "peak memory" linecolor rgb "#c98b2b", \
     1.06 title "goal, time" with lines linecolor rgb "#3b6ea5" dashtype 2, \
     1.02 title "goal, memory" with lines linecolor rgb "#c98b2b" dashtype 2
