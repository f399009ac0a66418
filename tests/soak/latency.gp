# Durations by kind of request: gnuplot -e "samples='FILE.csv'; target='FILE.svg'" latency.gp
set terminal svg size 900,900 font 'sans,12' background 'white'
set output target
set datafile separator ','
set grid
set key below
set logscale y
set multiplot layout 3,1
kinds = 'entry subtree read find announce reconnect'
set ylabel 'p50, microseconds'
plot for [i=1:6] samples using 1:(column(3 + 3*i) > 0 ? column(3 + 3*i) : NaN) skip 1 with lines title word(kinds, i)
set ylabel 'p99, microseconds'
plot for [i=1:6] samples using 1:(column(4 + 3*i) > 0 ? column(4 + 3*i) : NaN) skip 1 with lines title word(kinds, i)
set ylabel 'longest, microseconds'
set xlabel 'seconds'
plot for [i=1:6] samples using 1:(column(5 + 3*i) > 0 ? column(5 + 3*i) : NaN) skip 1 with lines title word(kinds, i)
unset multiplot
