# SPDX-License-Identifier: Apache-2.0
# Lines: requests per second over calls in flight, of each peer. Variables: data, picture.
# The data: a block for each peer, whose first line is its name; then calls in flight, requests per second.
set datafile separator tab
stats data using 1:2 nooutput
set terminal svg size 900,620 font "sans-serif,12" background "white"
set output picture
set title "Requests per second over calls in flight, one loop"
set logscale xy
set xlabel "calls in flight"
set ylabel "requests/s"
set xtics ("1" 1, "16" 16, "256" 256, "4,096" 4096)
set format y "%.0f"
set xrange [0.8:5200]
set border 3
set tics nomirror
set grid ytics linecolor rgb "#dddddd"
set key outside below left Left reverse maxcols 2 samplen 2 autotitle columnheader
plot for [block = 0:STATS_blocks - 1] data index block using 1:2 with linespoints linewidth 2 pointtype 7 pointsize 0.5 \
         linetype block + 1
