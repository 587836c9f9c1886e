# From callgrind's dumps, one a boundary, to the largest count over the mean of each name.
/^desc: Trigger: Client Request: / { name = $5 }
/^summary: / && name != "" {
  count[name]++
  sum[name] += $2
  if ($2 > most[name]) most[name] = $2
  name = ""
}
END {
  for (name in count) printf "%s\t%.6g\n", name, most[name] * count[name] / sum[name]
}
