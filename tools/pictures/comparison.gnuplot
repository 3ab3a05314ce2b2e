# SPDX-License-Identifier: Apache-2.0
# Bars: the requests per second of each peer at each work, over the floor's. Variables: data, picture.
# The columns of data: work, peer, ratio, errors.
longest = 3.0
shown(ratio) = ratio < longest ? ratio : longest
colour(peer) = peer[1:13] eq "libhttpclient" ? 0x2a6fbb : 0xb9c4d0
label(ratio, errors) = sprintf(errors > 0 ? "%.2f (%d errors)" : "%.2f", ratio, errors)
set datafile separator tab
stats data using 3 nooutput
rows = STATS_records
set terminal svg size 900,110 + 18 * rows font "sans-serif,12" background "white"
set output picture
set title "Requests per second, the floor being 1"
set key off
set border 3
set tics nomirror
set style fill solid noborder
set xrange [0:longest + 0.5]
set yrange [rows - 0.5:-0.5]
set arrow from 1, graph 0 to 1, graph 1 nohead dashtype 2 linecolor rgb "#888888" front
plot data using (0):0:(0):(shown($3)):($0 - 0.36):($0 + 0.36):(colour(strcol(2))):ytic(strcol(1).": ".strcol(2)) \
         with boxxyerror linecolor rgb variable, \
     data using (shown($3)):0:(label($3, $4)) with labels left offset 0.6,0
