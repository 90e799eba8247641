set terminal svg size 1000,420 font "sans-serif,12" background "white"
set title "Requests that 10,000 clients send through an outage of two minutes"
set xlabel "seconds"
set ylabel "requests per second"
set xrange [0:360]
set yrange [0:*]
set grid
set key outside bottom center horizontal
set object 1 rectangle from 60, graph 0 to 180, graph 1 fillcolor rgb "#f3e3e3" fillstyle solid noborder behind
set label 1 "outage" at 120, graph 0.06 center
plot 2000 title "what the service can answer" with lines linecolor rgb "#b03030" dashtype 2, \
     data using 1:4 title "retries without a budget" with lines linecolor rgb "#c98b2b", \
     data using 1:3 title "retries as they are" with lines linewidth 2 linecolor rgb "#3b6ea5", \
     data using 1:2 title "no retries" with lines linecolor rgb "#555555"
