# Draws docs/performance.svg from one build's figures: cost over response length, and the cost
# of successive blocks, beside the peers'. True stereo, 2x2.
BEGIN {
  FS = "\t"
  split("ulmar one plain zita-uniform zita-default", names, " ")
  split("ulmar, as planned;ulmar, one engine;plain;zita, uniform;zita, default", labels, ";")
  split("#0b5fa5 #5aa9e6 #9a6324 #b8860b #c23b22", colours, " ")
  numNames = 5
}
{ sub(/ +$/, "", $1); split($1, part, "/") }
part[1] == "curve" { curve[part[3], part[5]] = $2; seconds[part[3]] = 1; raise(1, part[3], $2) }
part[1] == "successive" { block[part[2] + 0, part[3]] = $2; raise(2, part[2] + 0, $2) }

function raise(panel, x, y) {
  if (x + 0 > mostX[panel]) mostX[panel] = x + 0
  if (y + 0 > mostY[panel]) mostY[panel] = y + 0
}
function px(panel, x) { return 90 + 480 * x / mostX[panel] + 580 * (panel - 1) }
# Decades from 1 to 10000 microseconds: contenders differ by more than a ruler shows.
function py(y) { return 360 - 290 * log(y) / log(10) / decades }

function axes(panel, title, label, step,    x, d) {
  printf "<text x='%d' y='40' font-size='17'>%s</text>\n", px(panel, 0), title
  for (d = 0; d <= decades; ++d) {
    printf "<line x1='%d' x2='%d' y1='%.1f' y2='%.1f' stroke='#ddd'/>", px(panel, 0),
      px(panel, mostX[panel]), py(10 ^ d), py(10 ^ d)
    printf "<text x='%d' y='%.1f' text-anchor='end'>%d</text>\n", px(panel, 0) - 8,
      py(10 ^ d) + 5, 10 ^ d
  }
  for (x = 0; x <= mostX[panel]; x += step)
    printf "<text x='%.1f' y='382' text-anchor='middle'>%d</text>\n", px(panel, x), x
  printf "<text x='%.1f' y='406' text-anchor='middle'>%s</text>\n",
    px(panel, mostX[panel] / 2), label
}
function line(points, colour) {
  printf "<polyline points='%s' fill='none' stroke='%s' stroke-width='2'/>\n", points, colour
}

END {
  decades = int(log(mostY[1] > mostY[2] ? mostY[1] : mostY[2]) / log(10)) + 1
  print "<svg xmlns='http://www.w3.org/2000/svg' viewBox='0 0 1200 470' width='1200'" \
    " font-family='sans-serif' font-size='13'><rect width='1200' height='470' fill='#fff'/>"
  axes(1, "Mean block of 128, µs, over response length", "seconds at 48 kHz", 1)
  axes(2, "Successive blocks, µs, 2 s", "block", 10)
  n = 0
  for (s in seconds) order[++n] = s + 0
  for (i = 2; i <= n; ++i)
    for (j = i; j > 1 && order[j] < order[j - 1]; --j) {
      t = order[j]; order[j] = order[j - 1]; order[j - 1] = t
    }
  for (k = 1; k <= numNames; ++k) {
    points = ""
    for (i = 1; i <= n; ++i)
      for (s in seconds)
        if (s + 0 == order[i] && (s, names[k]) in curve)
          points = points sprintf("%.1f,%.1f ", px(1, order[i]), py(curve[s, names[k]]))
    line(points, colours[k])
    points = ""
    for (b = 0; b <= mostX[2]; ++b)
      if ((b, names[k]) in block)
        points = points sprintf("%.1f,%.1f ", px(2, b), py(block[b, names[k]]))
    line(points, colours[k])
    printf "<rect x='%d' y='432' width='22' height='5' fill='%s'/>", 90 + 200 * (k - 1),
      colours[k]
    printf "<text x='%d' y='440'>%s</text>\n", 120 + 200 * (k - 1), labels[k]
  }
  print "</svg>"
}
