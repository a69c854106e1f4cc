# pictures.gp: the pictures of docs/pictures out of the .dat files that scripts/report.py and scripts/peers.py write.
# Wants two variables: data, the folder of these files, and about, the machine, the compiler and the day. Where a third,
# of_peers, is set, it draws the picture of peers, else all others.

# One style for all: colours that also colour-blind eyes tell apart, and a point of its own shape for each.
set style line 1 linecolor rgb "#0072B2" linewidth 2 pointtype 7 pointsize 0.7
set style line 2 linecolor rgb "#D55E00" linewidth 2 pointtype 5 pointsize 0.7
set style line 3 linecolor rgb "#009E73" linewidth 2 pointtype 9 pointsize 0.9
set style line 9 linecolor rgb "#D8D8D8" linewidth 1
set border 3 linecolor rgb "#606060"
set tics nomirror out
set grid ytics linestyle 9
set key top right samplen 2
set title font ",14"
svg(width, height) = sprintf("set terminal svg size %d,%d font 'sans-serif,12' background 'white'", width, height)
titled(text) = text . "\n{/*0.8 " . about . "}"

eval svg(860, 420)
# A line a task, of a logarithmic multiple; ratios are in that column of the file.
lines_of(file, ratio) = sprintf("unset ylabel; unset key; unset grid; set grid xtics linestyle 9; set border 1;" \
    . "set ytics scale 0; set logscale x; set xtics (0.2, 0.5, 1, 2, 5, 10, 20, 50, 100, 200, 500, 1000);" \
    . "set yrange [*:*]; stats data.'%s' using %d nooutput; set yrange [STATS_records - 0.5:-0.5];" \
    . "set xrange [0.2:*] noextend;" \
    . "set arrow 1 from 1, graph 0 to 1, graph 1 nohead dashtype 2 linecolor rgb '#606060'", file, ratio)

if (exists("of_peers")) {
    set output "docs/pictures/peers.svg"
    set title titled("Ours beside the peers")
    set xlabel "times as fast as the peer"
    eval lines_of("peers.dat", 2)
    plot data."peers.dat" using (1):0:($2 - 1):(0):ytic(1) with vectors nohead linestyle 1 linewidth 5, \
         "" using 2:0 with points linestyle 2 pointsize 1
    exit
}

set output "docs/pictures/rows-per-cycle.svg"
set title titled("Scans of dictionary codes in the first cache")
set xlabel "bits a code"
set ylabel "rows a cycle"
set yrange [0.5:64]
set logscale y 2
plot data."rows-per-cycle.dat" using 0:2:xtic(1) with linespoints linestyle 1 title "eq", \
     "" using 0:3 with linespoints linestyle 2 title "lt", \
     "" using 0:4 with linespoints linestyle 3 title "ge\\_le"

set output "docs/pictures/bandwidth.svg"
unset logscale
set yrange [0:1.3]
set key horizontal left
set ylabel "share of a plain read's speed there"
set multiplot layout 1,2 title titled("How close scans come to just reading the codes") font ",14"
unset title
do for [panel = 0:1] {
    set title panel == 0 ? "eq" : "ge\\_le"
    plot for [i = 1:3] data."bandwidth.dat" using 0:(column(1 + 3 * panel + i)):xtic(1) with linespoints linestyle i \
         title word("L1 L2 RAM", i)
}
unset multiplot

set output "docs/pictures/plain-loops.svg"
set title titled("Kernels against plain loops by either compiler: least, median, most")
set xlabel "times as fast as the plain loop"
eval lines_of("plain-loops.dat", 3)
plot data."plain-loops.dat" using 2:0:($4 - $2):(0) with vectors nohead linestyle 1 linewidth 5, \
     "" using 3:0:ytic(1) with points linestyle 2 pointsize 1
