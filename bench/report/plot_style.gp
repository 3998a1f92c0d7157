# The look of every plot of the report: light, thin grid, one colour a meaning.
#   1 the kernel  2 a second kernel or form  3 the plain loop  4 the bandwidth or random-read limit
#   5 a third kernel or form  6 another limit
set encoding utf8
set object 1 rectangle from screen 0,0 to screen 1,1 behind fillcolor rgb '#ffffff' fillstyle solid noborder
set border 3 linecolor rgb '#57606a' linewidth 1
set tics nomirror textcolor rgb '#24292f' scale 0.6
set grid ytics xtics linecolor rgb '#d8dee4' linewidth 0.7 linetype 1
unset key
set title textcolor rgb '#24292f' offset 0,-0.4
set xlabel textcolor rgb '#24292f'
set ylabel textcolor rgb '#24292f'
set datafile separator ','
set datafile missing '?'
set style line 1 linecolor rgb '#0b5cad' linewidth 2.2 pointtype 7 pointsize 0.5
set style line 2 linecolor rgb '#1b998b' linewidth 2.2 pointtype 5 pointsize 0.5
set style line 3 linecolor rgb '#c8553d' linewidth 1.6 pointtype 9 pointsize 0.5
set style line 4 linecolor rgb '#57606a' linewidth 1.4 dashtype 2 pointtype 1 pointsize 0.4
set style line 5 linecolor rgb '#8a4fbf' linewidth 2.2 pointtype 13 pointsize 0.6
set style line 6 linecolor rgb '#a0a8b0' linewidth 1.4 dashtype 3 pointtype 2 pointsize 0.4
