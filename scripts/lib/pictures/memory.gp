# Resident memory (RSS), and what remains of it when pages are divided among the processes that use them (PSS).
set multiplot title "Memory of the Mux" font ",15"
eval legend_panel
plot for [name in series] NaN with linespoints linewidth 2 pointsize 0.8 linecolor rgb colour(name) \
        dashtype dashes(name) pointtype shape(name) title title_of(name).": RSS", \
    for [name in series] NaN with linespoints linewidth 1 pointsize 0.8 linecolor rgb colour(name) \
        dashtype dashes(name) pointtype shape(name) - 1 title title_of(name).": PSS"

eval panels
set ylabel "KiB" offset 1
set yrange [0:*]
set ytics 1000

eval left_panel
set title "with gateways, no client"
set xlabel "gateways"
set xrange [0:70]
set xtics 8
plot for [name in series] file("memory-gateways-rss", name) with linespoints linewidth 2 pointsize 0.8 \
        linecolor rgb colour(name) dashtype dashes(name) pointtype shape(name), \
    for [name in series] file("memory-gateways-pss", name) with linespoints linewidth 1 pointsize 0.8 \
        linecolor rgb colour(name) dashtype dashes(name) pointtype shape(name) - 1

# On the scale of the other.
set yrange [0:GPVAL_Y_MAX]
eval right_panel
set title "with idle clients, 1 gateway"
set xlabel "clients"
set xrange [0:950]
set xtics 100
plot for [name in series] file("memory-clients-rss", name) with linespoints linewidth 2 pointsize 0.8 \
        linecolor rgb colour(name) dashtype dashes(name) pointtype shape(name), \
    for [name in series] file("memory-clients-pss", name) with linespoints linewidth 1 pointsize 0.8 \
        linecolor rgb colour(name) dashtype dashes(name) pointtype shape(name) - 1
unset multiplot
