set terminal svg size 1000,420 font "sans-serif,12" background "white"
set title "Each operation over the same request written by hand (1.0: the same)"
set style data histograms
set style fill solid 0.8 noborder
set boxwidth 0.9
set yrange [0.9:1.1]
set ylabel "ratio"
set grid ytics
set key outside top right
set xtics rotate by -40 nomirror
plot data using 2:xtic(1) title "wall time" linecolor rgb "#3b6ea5", \
     data using 3 title "CPU time" linecolor rgb "#c98b2b", \
     1.02 title "goal" with lines linecolor rgb "#b03030" dashtype 2
