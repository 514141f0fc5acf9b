# The share of refused requests that are answered within a time.
set multiplot title "Waiting for the answer to a refused request" font ",15"
eval legend_panel
plot for [name in series] NaN with lines linewidth 2 linecolor rgb colour(name) dashtype dashes(name) \
    title title_of(name)

eval panels
set ylabel "requests answered (%)" offset 1
set yrange [0:100]
set ytics 20
set xlabel "within (ms)"
set xrange [0:3]
set xtics 0.5

eval left_panel
set title "next request right after an answer"
plot for [name in series] file("closed-loop", name) using 2:1 with lines linewidth 2 \
    linecolor rgb colour(name) dashtype dashes(name)

eval right_panel
set title "after a pause of 0 to 5 ms"
plot for [name in series] file("random-phase", name) using 2:1 with lines linewidth 2 \
    linecolor rgb colour(name) dashtype dashes(name)
unset multiplot
