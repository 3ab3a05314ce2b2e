# SPDX-License-Identifier: Apache-2.0
# What the process used over time: one panel per column of the samples. Variables: data, picture.
names = "'heap, MiB' 'resident memory, MiB' 'descriptors' 'threads' 'failed requests a second'"
set terminal svg size 900,1000 font "sans-serif,12" background "white"
set output picture
set datafile separator tab
set key off
set yrange [0:*]
set lmargin 9
set multiplot layout words(names),1 title "Memory, descriptors, threads and failures under load"
do for [panel = 1:words(names)] {
    set title word(names, panel) offset 0,-0.7
    set xlabel panel == words(names) ? "seconds" : ""
    plot data using 1:(column(panel + 1)) with lines linecolor rgb "#0066cc"
}
unset multiplot
