# Turns the figures of both builds, x86-64 first, into docs/performance.md.
# A figure is a name, a tab and a value; medians of interleaved rounds throughout.
BEGIN {
  FS = "\t"; page = out "/performance.md"
  numPairs = split("1x1 2x2 2x5", pairs, " ")
  numLengths = split("0.5 2 6 10", lengths, " ")
  numSizes = split("64 128 512 1024", sizes, " ")
}
FNR == 1 { ++build }
{ sub(/ +$/, "", $1); figure[build, $1] = $2 }

function say(text) { print text > page }
function buildName(b) { return b == 1 ? "x86-64" : "i386" }
# Nothing where a figure is missing.
function value(b, name) { return (b, name) in figure ? figure[b, name] : "" }
function quotient(b, name, base) {
  return value(b, name) != "" && value(b, base) ? value(b, name) / value(b, base) : ""
}
function formatted(v, form) { return v == "" ? "-" : sprintf(form, v) }
function over(b, name, base) { return formatted(quotient(b, name, base), "%.2f") }
function number(b, name, form) { return formatted(value(b, name), form) }
function scaled(b, factor, name, form) {
  return value(b, name) == "" ? "-" : sprintf(form, factor * value(b, name))
}
function percent(b, limit, name,    v) {
  v = quotient(b, limit, name)
  return v == "" ? "-" : sprintf("%.0f %%", 100 * v)
}

# What the library takes on this processor.
function best(b) { return value(b, "limit/512") != "" ? "avx512" : "avx" }
function widest(b) { return value(b, "limit/512") != "" ? 512 : 256 }

# A figure beside a goal such as "≤ 0.75", marked where it is missed. A miss that
# rounding would hide is shown with another digit.
function judged(v, form, aim,    words, shown) {
  if (v == "") return "-"
  if (aim == "") return sprintf(form, v)
  split(aim, words, " ")
  shown = sprintf(form, v)
  if (words[1] == "≤" ? v <= words[2] : v >= words[2]) return shown
  if (shown + 0 == words[2] + 0) sub(/[0-9]f/, substr(form, index(form, ".") + 1, 1) + 1 "f", form)
  return sprintf(form, v) " missed"
}
# wide, avx: with the widest body, and with AVX's alone, of x86-64; likewise of i386.
function goal(what, form, wide, avx, aim, wide32, avx32, aim32) {
  say("| " what " | " judged(wide, form, aim) " | " judged(avx, form, aim) " | " aim " | " \
      judged(wide32, form, aim32) " | " judged(avx32, form, aim32) " | " aim32 " |")
}
function sameGoal(what, form, name, aim, aim32) {
  goal(what, form, value(1, name), value(1, name "-avx"), aim, value(2, name),
       value(2, name "-avx"), aim32)
}
function percentOf(b, limit, name,    v) {
  v = quotient(b, limit, name)
  return v == "" ? "" : 100 * v
}
function transformGoal(kind, n, aim, aim32,    name) {
  name = kind "/" n "/"
  goal(kind " transform, " n " points, over FFTW", "%.2f",
       quotient(1, name best(1), name "fftw"), "", aim,
       quotient(2, name best(2), name "fftw"), "", aim32)
}

# The largest of a figure over all workloads.
function largest(b, name,    i, j, k, v, most) {
  most = ""
  for (i = 1; i <= numPairs; ++i)
    for (j = 1; j <= numLengths; ++j)
      for (k = 1; k <= numSizes; ++k) {
        v = value(b, "block/" pairs[i] "/" lengths[j] "/" sizes[k] "/" name)
        if (v != "" && (most == "" || v > most)) most = v
      }
  return most
}
function largestGoal(what, name, aim) {
  goal(what, "%.2f", largest(1, name), largest(1, name "-avx"), aim, largest(2, name),
       largest(2, name "-avx"), aim)
}
# Counted with the AVX bodies only.
function largestInstructions(what, name, aim) {
  goal(what, "%.3f", "", largest(1, name), aim, "", largest(2, name), aim)
}

function goals(    n, w, i, j, k) {
  say("## Goals\n")
  say("With the widest body of the kernels that the processor has, and with the AVX body alone")
  say("where a goal is for both.\n")
  say("| figure | x86-64 | AVX alone | goal | i386 | AVX alone | goal |")
  say("|---|---|---|---|---|---|---|")
  for (i = 2; i <= 3; ++i)
    for (j = 2; j <= 3; ++j)
      for (k = 1; k <= 2; ++k)
        sameGoal(pairs[i] ", " lengths[j] " s, " sizes[k] ": mean over zita-convolver, default",
                 "%.2f", "block/" pairs[i] "/" lengths[j] "/" sizes[k] "/over-zita-default",
                 "≤ 0.75", "≤ 0.35")
  sameGoal("2x2, 2 s, 512: the same", "%.2f", "block/2x2/2/512/over-zita-default", "≤ 0.95",
           "≤ 0.5")
  sameGoal("2x2, 6 s, 512: the same", "%.2f", "block/2x2/6/512/over-zita-default", "≤ 0.75",
           "≤ 0.5")
  largestInstructions("worst boundary over mean, instructions, one engine", "one-instructions",
                      "≤ 1.02")
  largestInstructions("the same, two engines", "two-instructions", "≤ 2.5")
  sameGoal("growth from 2 s to 6 s, 2x2, 128", "%.2f", "growth/2x2/128/2-6", "≤ 1.6", "≤ 1.6")
  largestGoal("largest mean over the best of one and two engines, all workloads", "over-best",
              "≤ 1.05")
  sameGoal("forty stereo streams (2 s, 512), one response, over sets of their own and one engine",
           "%.2f", "streams/40/shared-planned/gain", "≥ 1.25", "≥ 1.25")

  goal("row products over whole rows, of the 256-bit limit, %", "%.0f", "",
       percentOf(1, "limit/256", "slideSums/avx"), "≥ 78", "",
       percentOf(2, "limit/256", "slideSums/avx"), "≥ 65")
  goal("the same, SSE2, of the 128-bit limit, %", "%.0f",
       percentOf(1, "limit/128", "slideSums/sse2"), "", "≥ 85",
       percentOf(2, "limit/128", "slideSums/sse2"), "", "≥ 72")
  for (n = 1024; n <= 2048; n *= 2) transformGoal("forward", n, "≤ 1.5", "≤ 1.8")
  for (n = 1024; n <= 2048; n *= 2) transformGoal("inverse", n, "≤ 2.5", "≤ 3")
  w = "block/2x2/2/512/"
  sameGoal("2x2, 2 s, 512, the engine alone: mean over the plain FFTW engine", "%.2f",
           w "engine-over-plain", "≤ 0.45", "≤ 0.5")
  sameGoal("the same over zita-convolver, default", "%.2f", w "engine-over-zita-default",
           "≤ 1.0", "≤ 0.3")
  sameGoal("the same with `hfTruncate`", "%.2f", w "engine-hf-over-zita-default", "≤ 0.7",
           "≤ 0.2")
  sameGoal("`UlmarProc` stereo (2 s, 512) over engine only", "%.2f", "whole/stereo", "≤ 1.12",
           "≤ 1.15")
  sameGoal("`UlmarProc` 2 > 5, decoding, over engine only", "%.2f", "whole/decoding", "≤ 1.15",
           "≤ 1.2")
  w = "offline/2.35/"
  goal("10 min of stereo, 2.35 s, one job: wall time over ffmpeg\x27s `afir` at its best", "%.2f",
       quotient(1, w "one", w "afir"), "", "≤ 0.8", "", "", "")
  goal("the same, two processors over one job", "%.2f", quotient(1, w "all", w "one"), "",
       "≤ 0.6", "", "", "")
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

function tailName(v) { return v == "" ? "-" : v > 0 ? v : "none" }

function blocks(b,    i, j, k, w) {
  say("\n### " buildName(b) "\n")
  say("| pairs | seconds | block | tail | over plain | over zita, uniform | over zita, default | AVX alone | one engine, over zita, default | over the best | AVX alone | worst boundary, instructions | worst block, time | zita\x27s | ours over zita\x27s |")
  say("|---|---|---|---|---|---|---|---|---|---|---|---|---|---|---|")
  for (i = 1; i <= numPairs; ++i)
    for (j = 1; j <= numLengths; ++j)
      for (k = 1; k <= numSizes; ++k) {
        w = "block/" pairs[i] "/" lengths[j] "/" sizes[k] "/"
        say("| " pairs[i] " | " lengths[j] " | " sizes[k] " | " tailName(value(b, w "tail")) " | " \
            number(b, w "over-plain", "%.2f") " | " \
            number(b, w "over-zita-uniform", "%.2f") " | " \
            number(b, w "over-zita-default", "%.2f") " | " \
            number(b, w "over-zita-default-avx", "%.2f") " | " \
            number(b, w "one-over-zita-default", "%.2f") " | " \
            number(b, w "over-best", "%.2f") " | " \
            number(b, w "over-best-avx", "%.2f") " | " \
            number(b, w (value(b, w "tail") > 0 ? "two" : "one") "-instructions", "%.3f") " | " \
            number(b, w "worst", "%.1f") " | " \
            number(b, w "zita-default/worst", "%.1f") " | " \
            number(b, w "worst-over-zita-default", "%.2f") " |")
      }
}

function streams(    b, n, counts, c, s) {
  n = split("1 40", counts, " ")
  say("\n## Streams\n")
  say("Stereo streams (2x2, 2 s, blocks of 512, 48 kHz) that one processor carries, a block of each")
  say("in turn: each with partition sets of its own or all with one response\x27s; one engine, or as")
  say("the plan chooses. Memory is that of all streams and sets.\n")
  say("| build | streams | own sets, one engine | the same with `hfTruncate` | own sets, planned | shared sets, one engine | shared sets, planned | own sets, one engine, MiB | shared sets, planned, MiB |")
  say("|---|---|---|---|---|---|---|---|---|")
  for (b = 1; b <= 2; ++b)
    for (c = 1; c <= n; ++c) {
      s = "streams/" counts[c] "/"
      say("| " buildName(b) " | " counts[c] " | " number(b, s "own-one", "%.0f") " | " \
          number(b, s "own-one-hf", "%.0f") " | " number(b, s "own-planned", "%.0f") " | " \
          number(b, s "shared-one", "%.0f") " | " number(b, s "shared-planned", "%.0f") " | " \
          scaled(b, 2 ^ -20, s "own-one/bytes", "%.1f") " | " \
          scaled(b, 2 ^ -20, s "shared-planned/bytes", "%.1f") " |")
    }
}

function offline(    i, n, lengths, s) {
  n = split("0.5 2.35 6 30", lengths, " ")
  say("\n## Rendering files\n")
  say("Ten minutes of stereo noise at 48 kHz, 24 bit, through stereo responses, to a float file, all")
  say("in memory (x86-64): wall time of `ulmar-render` with one job and with as many as there are")
  say("processors, over that of ffmpeg\x27s `afir` at the best of four partition lengths.\n")
  say("| response, s | one job over afir | all jobs over afir | all jobs over one |")
  say("|---|---|---|---|")
  for (i = 1; i <= n; ++i) {
    s = "offline/" lengths[i] "/"
    say("| " lengths[i] " | " over(1, s "one", s "afir") " | " over(1, s "all", s "afir") " | " \
        over(1, s "all", s "one") " |")
  }
}

function model(    b, i, j, n, m, bodies, stages, s) {
  n = split("avx avx512", bodies, " ")
  m = split("transform low output high mid all block", stages, " ")
  say("\n## Cost model\n")
  say("Plans are made by a model of what each stage of an engine\x27s block costs")
  say("(`ulmar/host/cost_model.h`). Here the stages were timed one by one, for all combinations of")
  say("blocks of 64 to 8192, 2 to 300 partitions, eight divisions and 1x1, 2x2 and 2x5 channels. A")
  say("time is the median over a stretch of blocks, the least of three stretches. The table shows the")
  say("quantiles of the time over the model\x27s: for each stage, for all of them and for whole blocks.")
  say("Plans depend on ratios of costs only, so the last two columns take out the speed of machine")
  say("and body, which is the median over all stages: within what distance of the model then lie")
  say("half of the times, and nine tenths.\n")
  say("| build | body | stage | times | 5 % | 25 % | median | 75 % | 95 % | half within | nine tenths within |")
  say("|---|---|---|---|---|---|---|---|---|---|---|")
  for (b = 1; b <= 2; ++b)
    for (i = 1; i <= n; ++i)
      for (j = 1; j <= m; ++j) {
        s = "model/" bodies[i] "/" stages[j] "/"
        if (value(b, s "count") == "") continue
        say("| " buildName(b) " | " bodies[i] " | " stages[j] " | " value(b, s "count") " | " \
            number(b, s "5", "%.2f") " | " number(b, s "25", "%.2f") " | " \
            number(b, s "50", "%.2f") " | " number(b, s "75", "%.2f") " | " \
            number(b, s "95", "%.2f") " | " \
            scaled(b, 100, s "off-50", "%.0f %%") " | " \
            scaled(b, 100, s "off-90", "%.0f %%") " |")
      }
}

END {
  say("# Speed\n")
  say("Written by `./bench.sh`. Every figure is a ratio of medians over interleaved rounds of one")
  say("run; absolute times on shared machines mean little.\n")
  say("Processor: " processor ". Compiler: " compiler ".\n")
  goals()
  say("\nWhat decides them:\n")
  say("- One uniformly partitioned engine takes numRows times B row products a pair and block. At")
  say("  the machine\x27s limit these alone cost " products(1, "limit/" widest(1)) " (i386: " \
      products(2, "limit/" widest(2)) ") of zita\x27s mean block for 2x2, 2 s")
  say("  and 512; at the rate of our high tier, " products(1, "runHighLatency/" best(1)) " (i386: " \
      products(2, "runHighLatency/" best(2)) "). Our transforms add " transforms(1) " (i386:")
  say("  " transforms(2) "). zita\x27s default partitions grow with the response, up to 8192 samples, and need a")
  say("  fraction of the products, in single blocks that cost many times the mean.")
  say("- With a tail, the larger part of a response is convolved in blocks of T too, and the work of")
  say("  each is spread over the T / N boundaries until the next. The head is 2 T - N samples long,")
  say("  so a longer tail block makes a cheaper tail and a dearer head.")
  say("- The transforms keep radix-2 butterflies, operand for operand, and the inverse is a full")
  say("  complex one: both are part of the arithmetic that every path shares.")
  say("- In 32-bit mode some processors run 128-bit code at two thirds of its speed after any")
  say("  256-bit instruction, until the next context switch, `vzeroupper` or not.")
  kernels()
  say("\n## Blocks beside the peers\n")
  say("A stream\x27s mean block (planar calls of whole blocks, wet signal alone, five outputs as")
  say("speaker feeds that are not decoded) over the mean block of: a plain uniformly partitioned")
  say("engine on FFTW single precision, written for the bench; and zita-convolver with uniform and")
  say("with its default partitions. All run on one processor. All threads of zita\x27s count, also")
  say("for what they finish later: time is taken when they rest. The plain engine and the uniform")
  say("zita sit out where a response has more than 2400 blocks. Every contender\x27s output was")
  say("checked against direct convolution first.\n")
  say("The tail is the block length that the plan chose for it. \"Over the best\" is the mean over the")
  say("smallest of up to four: that of one engine, and those of two with the tail for which the cost")
  say("model gives the least mean, whatever its largest boundary, with half and with twice that")
  say("tail. \"AVX alone\" repeats the column before it with the AVX bodies. The worst boundary, in")
  say("instructions (of the AVX bodies, counted by callgrind), and the worst block, in processor")
  say("time that it sets off in any thread, are over their own means. The last column is our worst")
  say("block over zita\x27s, in time.\n")
  say("![Cost over response length, and of successive blocks](performance.svg)")
  blocks(1)
  blocks(2)
  streams()
  offline()
  model()
  close(page)
}
