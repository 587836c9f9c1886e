# Turns the figures of both builds, x86-64 first, into docs/performance.md and its picture.
# A figure is a name, a tab and a value; medians of interleaved rounds throughout.
BEGIN { FS = "\t"; page = out "/performance.md" }
FNR == 1 { ++build }
{ sub(/ +$/, "", $1); figure[build, $1] = $2 }

function say(text) { print text > page }
function value(b, name) { return figure[b, name] }
# The value of figure a over that of figure b, or a dash where one is missing.
function over(b, name, base) {
  return value(b, base) ? sprintf("%.2f", value(b, name) / value(b, base)) : "-"
}
function percent(b, limit, name) {
  return value(b, name) ? sprintf("%.0f %%", 100 * value(b, limit) / value(b, name)) : "-"
}
function number(b, name, form) {
  return (b, name) in figure ? sprintf(form, value(b, name)) : "-"
}
function goal(what, wide, goalWide, narrow, goalNarrow) {
  say("| " what " | " wide " | " goalWide " | " narrow " | " goalNarrow " |")
}

# What the library takes on this processor.
function best(b) { return (b, "limit/512") in figure ? "avx512" : "avx" }
function widest(b) { return (b, "limit/512") in figure ? 512 : 256 }
function transformGoal(kind, n, goalWide, goalNarrow,    name) {
  name = kind "/" n "/"
  goal(kind " transform, " n " points, over FFTW", over(1, name best(1), name "fftw"), goalWide,
       over(2, name best(2), name "fftw"), goalNarrow)
}

function goals(    b, n, w, worst, name, part) {
  say("## Goals\n")
  say("| figure | x86-64 | goal | i386 | goal |")
  say("|---|---|---|---|---|")
  goal("row products over whole rows, AVX, of the 256-bit limit",
       percent(1, "limit/256", "slideSums/avx"), "≥ 78 %",
       percent(2, "limit/256", "slideSums/avx"), "≥ 65 %")
  goal("the same, SSE2, of the 128-bit limit", percent(1, "limit/128", "slideSums/sse2"),
       "≥ 85 %", percent(2, "limit/128", "slideSums/sse2"), "≥ 72 %")
  for (n = 1024; n <= 2048; n *= 2) transformGoal("forward", n, "≤ 1.5", "≤ 1.8")
  for (n = 1024; n <= 2048; n *= 2) transformGoal("inverse", n, "≤ 2.5", "≤ 3")
  w = "block/2x2/2/512/"
  goal("2x2, 2 s, 512: mean block over the plain FFTW engine",
       number(1, w "plain/ratio", "%.2f"), "≤ 0.45",
       number(2, w "plain/ratio", "%.2f"), "≤ 0.5")
  goal("the same over zita-convolver, default partitions",
       number(1, w "zita-default/ratio", "%.2f"), "≤ 1.0",
       number(2, w "zita-default/ratio", "%.2f"), "≤ 0.3")
  goal("the same with `hfTruncate`", number(1, w "zita-default/ratio-hf", "%.2f"), "≤ 0.7",
       number(2, w "zita-default/ratio-hf", "%.2f"), "≤ 0.2")
  for (b = 1; b <= 2; ++b)
    for (name in figure) {
      split(name, part, SUBSEP)
      if (part[1] == b && part[2] ~ /instructions\/worst-phase$/ && figure[name] > worst[b])
        worst[b] = figure[name]
    }
  goal("worst phase over mean, instructions, all workloads", sprintf("%.3f", worst[1]),
       "≤ 1.02", sprintf("%.3f", worst[2]), "≤ 1.02")
  goal("`UlmarProc` stereo (2 s, 512) over engine only", number(1, "whole/stereo", "%.2f"),
       "≤ 1.12", number(2, "whole/stereo", "%.2f"), "≤ 1.15")
  goal("`UlmarProc` 2 > 5, decoding, over engine only", number(1, "whole/decoding", "%.2f"),
       "≤ 1.15", number(2, "whole/decoding", "%.2f"), "≤ 1.2")
}

function limitOf(body) {
  return body == "sse2" ? "limit/128" : body == "avx" ? "limit/256" : "limit/512"
}

function kernels(    b, i, n, bodies, body) {
  n = split("scalar sse2 avx avx512", bodies, " ")
  say("\n## Kernels\n")
  say("N 512, B 188, 16 slots, over every row of a real history and partition set. The limit is")
  say("two multiplications and two additions a cycle: 1 cycle a row product at 256 bits, 2 at")
  say("128, a half at 512 where the processor is as wide.\n")
  say("| build | body | `slideSums`, cycles | of its limit | high tier, cycles | `addRows`, cycles |")
  say("|---|---|---|---|---|---|")
  for (b = 1; b <= 2; ++b)
    for (i = 1; i <= n; ++i) {
      body = bodies[i]
      say("| " buildName(b) " | " body " | " over(b, "slideSums/" body, "limit/256") " | " \
          (body == "scalar" ? "" : percent(b, limitOf(body), "slideSums/" body)) " | " \
          over(b, "runHighLatency/" body, "limit/256") " | " \
          over(b, "addRows/" body, "limit/256") " |")
    }
  say("\n## Transforms, over FFTW double\n")
  say("| build | body | forward 1024 | forward 2048 | inverse 1024 | inverse 2048 |")
  say("|---|---|---|---|---|---|")
  for (b = 1; b <= 2; ++b)
    for (i = 1; i <= n; ++i) {
      body = bodies[i]
      say("| " buildName(b) " | " body " | " \
          over(b, "forward/1024/" body, "forward/1024/fftw") " | " \
          over(b, "forward/2048/" body, "forward/2048/fftw") " | " \
          over(b, "inverse/1024/" body, "inverse/1024/fftw") " | " \
          over(b, "inverse/2048/" body, "inverse/2048/fftw") " |")
    }
}

# What parts of a block of 2x2, 2 s, 512 take of the mean block of zita.
function ofZita(b, ns) {
  return sprintf("%.2f", 1e-3 * ns / value(b, "block/2x2/2/512/zita-default/us"))
}
function products(b, rate) {
  return ofZita(b, 4 * (512 / 4) * int((96000 + 511) / 512) * value(b, rate))
}
function transforms(b) {
  return ofZita(b, 2 * (value(b, "forward/1024/" best(b)) + value(b, "inverse/1024/" best(b))))
}

function buildName(b) { return b == 1 ? "x86-64" : "i386" }

function blocks(b,    pairs, lengths, sizes, i, j, k, w) {
  split("1x1 2x2 2x5", pairs, " "); split("0.5 2 6", lengths, " ")
  split("128 512 1024", sizes, " ")
  say("\n### " buildName(b) "\n")
  say("| pairs | seconds | block | over plain | over zita, uniform | over zita, default | with `hfTruncate`, over zita, default | worst phase | zita, worst block |")
  say("|---|---|---|---|---|---|---|---|---|")
  for (i = 1; i <= 3; ++i)
    for (j = 1; j <= 3; ++j)
      for (k = 1; k <= 3; ++k) {
        w = "block/" pairs[i] "/" lengths[j] "/" sizes[k] "/"
        say("| " pairs[i] " | " lengths[j] " | " sizes[k] " | " \
            number(b, w "plain/ratio", "%.2f") " | " \
            number(b, w "zita-uniform/ratio", "%.2f") " | " \
            number(b, w "zita-default/ratio", "%.2f") " | " \
            number(b, w "zita-default/ratio-hf", "%.2f") " | " \
            number(b, w "ulmar/instructions/worst-phase", "%.3f") " | " \
            number(b, w "zita-default/worst", "%.1f") " |")
      }
}

END {
  say("# Speed\n")
  say("Written by `./bench.sh`. Every figure is a ratio of medians over interleaved rounds of one")
  say("run; absolute times on shared machines mean little.\n")
  say("Processor: " processor ". Compiler: " compiler ".\n")
  goals()
  say("\nWhat decides them:\n")
  say("- zita-convolver\x27s default partitions grow with the response (to 8192 samples), so it needs")
  say("  a fraction of the multiply-adds, in single blocks that cost many times the mean (the last")
  say("  column below). A uniform scheme takes numRows times B row products a pair and block. Of")
  say("  zita\x27s mean block for 2x2, 2 s and 512 (x86-64, i386), they would take " \
      products(1, "limit/" widest(1)) " and " products(2, "limit/" widest(2)) " at the")
  say("  machine\x27s limit, and take " products(1, "runHighLatency/" best(1)) " and " \
      products(2, "runHighLatency/" best(2)) " at the high tier\x27s rate; the transforms take " \
      transforms(1) " and")
  say("  " transforms(2) ". The rest was not taken apart: low and mid tier, rounding to rows and back, and")
  say("  four times the partitions that the rate was measured with.")
  say("  `hfTruncate` removes half of what can be removed.")
  say("- The transforms keep radix-2 butterflies, operand for operand, and the inverse is a full")
  say("  complex one: both are part of the arithmetic that every path shares.")
  say("- In 32-bit mode this processor runs 128-bit code at two thirds of its speed after any")
  say("  256-bit instruction, until the next context switch, `vzeroupper` or not.")
  kernels()
  say("\n## Blocks beside the peers\n")
  say("The engine's mean block (`genOutput` and `doHousekeeping`) over the mean block of: a plain")
  say("uniformly partitioned engine on FFTW single precision, written for the bench; and")
  say("zita-convolver with uniform and with its default partitions, on one processor. All its")
  say("threads count, also for what they finish later: time is taken when they rest. Every")
  say("contender's output was checked against direct convolution first. The worst phase is the worst")
  say("of the engine's phases over their mean, in instructions; zita's worst block is the one that")
  say("sets off the most work, over its mean, in time.\n")
  say("![Cost over response length, and of successive blocks](performance.svg)")
  blocks(1)
  blocks(2)
  say("\n## Streams\n")
  say("Stereo streams (2 s, blocks of 512, 48 kHz) that one processor carries, alone in its cache")
  say("and among forty:\n")
  say("| build | one at a time | with `hfTruncate` | forty in turn | with `hfTruncate` |")
  say("|---|---|---|---|---|")
  for (b = 1; b <= 2; ++b)
    say("| " buildName(b) " | " number(b, "streams/1", "%.0f") " | " \
        number(b, "streams/1-hf", "%.0f") " | " number(b, "streams/40", "%.0f") " | " \
        number(b, "streams/40-hf", "%.0f") " |")
  close(page)
}
