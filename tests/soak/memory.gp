# Memory and descriptors over time: gnuplot -e "samples='FILE.csv'; target='FILE.svg'" memory.gp
set terminal svg size 900,720 font 'sans,12' background 'white'
set output target
set datafile separator ','
set grid
set key below
set multiplot layout 3,1
set yrange [0:*]
set ylabel 'KiB'
plot samples using 1:2 skip 1 with lines lw 2 title 'resident'
set ylabel 'KiB'
plot samples using 1:($3/1024) skip 1 with lines lw 2 lc 2 title 'heap in use, nothing but the schema registered'
set ylabel 'count'
set xlabel 'seconds'
plot samples using 1:4 skip 1 with lines lw 2 lc 3 title 'descriptors'
unset multiplot
