# The pictures of docs/performance.md. Arguments: directory of the figures, directory of the pictures.
set terminal svg size 720,400 background "white" font "sans-serif,13"
set style data linespoints
set style line 1 linewidth 2 pointtype 7 linecolor rgb "#808080"
set style line 2 linewidth 2 pointtype 5 linecolor rgb "#0060a0"
set style line 3 linewidth 2 pointtype 7 dashtype 2 linecolor rgb "#808080"
set style line 4 linewidth 2 pointtype 5 dashtype 2 linecolor rgb "#0060a0"
set grid ytics linecolor rgb "#d0d0d0"
set key top right
set logscale x
set yrange [0:*]

set output ARG2."/relay.svg"
set title "Relay: processor time of a packet"
set xlabel "flows of 50 packets a second"
set ylabel "µs"
plot ARG1."/relay" using 1:2 linestyle 1 title "bare loop", "" using 1:3 linestyle 2 title "daemon"

set output ARG2."/conference.svg"
set title "One conference: processor time of a member and tick of 20 ms"
set xlabel "members"
plot ARG1."/conference" using 1:2 linestyle 1 title "bare loop", "" using 1:3 linestyle 2 title "daemon"

set output ARG2."/latency.svg"
set title "Relay: from one caller to the other"
set xlabel "thousand packets a second"
set key top left
set logscale y
set yrange [*:*]
plot ARG1."/latency" using 1:2 linestyle 1 title "bare loop, median", \
     "" using 1:3 linestyle 2 title "daemon, median", \
     "" using 1:4 linestyle 3 title "bare loop, 99 %", "" using 1:5 linestyle 4 title "daemon, 99 %"
