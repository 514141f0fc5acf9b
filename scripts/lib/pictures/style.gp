# Common to all pictures. Called with `series`, the names of what is drawn, `data`, the folder of the points, and
# `picture`, the file to write. Colours of Okabe and Ito, which the colour-blind tell apart; dashes and point shapes
# carry the same, for black and white. The point type before a filled one is the same shape, empty.
set terminal svg size 860,440 dynamic enhanced font "Helvetica,Arial,sans-serif,13" background "#ffffff"
set output picture
set datafile separator tab

colour(name) = name eq "floor" ? 0x606060 : name eq "before" ? 0xD55E00 : 0x0072B2
dashes(name) = name eq "floor" ? 3 : name eq "before" ? 2 : 1
shape(name) = name eq "floor" ? 9 : name eq "before" ? 5 : 7
title_of(name) = name eq "floor" ? "floor" : name eq "before" ? "Mux, before" : "Mux"
file(what, name) = sprintf("%s/%s.%s", data, what, name)

# A legend is as wide as its panel, so it has one of its own, above the others and without anything else in it.
legend_panel = "unset border; unset xtics; unset ytics; set xrange [0:1]; set yrange [0:1];" \
    ."set key at screen 0.5, 0.885 center horizontal Left reverse samplen 4 width 1;" \
    ."set lmargin at screen 0.02; set rmargin at screen 0.98; set bmargin at screen 0.84; set tmargin at screen 0.85"
# Two panels side by side below it.
panels = "unset key; set border 3 linecolor rgb '#404040'; set grid linecolor rgb '#dddddd' linewidth 1;" \
    ."set xtics nomirror out scale 0.6; set ytics nomirror out scale 0.6;" \
    ."set bmargin at screen 0.16; set tmargin at screen 0.745"
left_panel = "set lmargin at screen 0.09; set rmargin at screen 0.485"
right_panel = "set lmargin at screen 0.585; set rmargin at screen 0.985"
