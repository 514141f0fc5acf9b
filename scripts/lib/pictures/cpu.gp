# CPU time against answers a second, all of it and without that of the idle passes.
set multiplot title "CPU time of the process, all threads on one CPU" font ",15"
eval legend_panel
plot for [name in series] NaN with linespoints linewidth 2 pointsize 0.8 linecolor rgb colour(name) \
    dashtype dashes(name) pointtype shape(name) title title_of(name)

eval panels
set xlabel "answers to refused requests, a second"
set xrange [0:850]
set xtics 100
set ylabel "CPU time (ms a second)" offset 1
set yrange [0:*]

eval left_panel
set title "in total"
plot for [name in series] file("cpu", name) with linespoints linewidth 2 pointsize 0.8 \
    linecolor rgb colour(name) dashtype dashes(name) pointtype shape(name)

# On the scale of the other.
set yrange [0:GPVAL_Y_MAX]
eval right_panel
set title "above that of an idle process"
plot for [name in series] file("cpu-above-idle", name) with linespoints linewidth 2 pointsize 0.8 \
    linecolor rgb colour(name) dashtype dashes(name) pointtype shape(name)
unset multiplot
