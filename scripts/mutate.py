#!/usr/bin/env python3
"""Small mutation check for the tav test suite.

A mutant is one token changed in one file, named path:line:col:old->new (path
relative to the worktree, line and column from 1), so that a list can be
replayed on any tree whose sources still read the same there.

  scripts/mutate.py list 'src/demosaic8/*.cpp'           # every mutant
  scripts/mutate.py sample -n 100 --seed 1 -o LIST 'src/**/*.cpp' 'src/**/*.h'
  scripts/mutate.py run --list LIST --out A.tsv [--root .] [--build build/mut]
                        [--exclude CTEST_REGEX] [--unit-only] [--timeout 60]
  scripts/mutate.py summary A.tsv
  scripts/mutate.py compare A.tsv B.tsv                  # killed in A, alive in B

`run` edits each file in place (restoring it afterwards, also on Ctrl-C or
SIGTERM), rebuilds the configured build directory and runs the suite; the
unmutated suite must pass first. Results go one line per mutant to the TSV,
and mutants already there are skipped, so a run can be resumed. Statuses:
killed, timeout (counted as killed), survived, nocompile and stale (the tree
reads differently there); the last two are left out of the kill rate.
"""
import argparse
import bisect
import glob
import os
import random
import re
import signal
import subprocess
import sys
import time

TOKEN = re.compile(r"""
    (?P<skip>//[^\n]*|/\*.*?\*/|R"(?P<d>[^(\s]*)\(.*?\)(?P=d)"
      |"(?:\\.|[^"\\\n])*"|'(?:\\.|[^'\\\n])*')
  | (?P<num>\b[0-9][0-9A-Za-z_'.]*)
  | (?P<word>[A-Za-z_]\w*)
  | (?P<op><<=|>>=|<=|>=|==|!=|&&|\|\||<<|>>|->|\+\+|--|\+=|-=|\|=|&=|\S)
""", re.S | re.X)
# Binary operators spelt like template brackets, pointers, references or
# signs: mutated only with a space on both sides.
SPACED = {"<": "<=", ">": ">=", "+": "-", "-": "+", "*": "/", "/": "*",
          "<<": ">>", ">>": "<<", "&": "|", "|": "&", "&&": "||", "||": "&&"}
PLAIN = {"<=": "<", ">=": ">", "==": "!=", "!=": "==", "+=": "-=", "-=": "+=",
         "<<=": ">>=", ">>=": "<<=", "&=": "|=", "|=": "&=",
         "true": "false", "false": "true"}
# Lines that only declare: template heads, assertions, aliases, alignment.
DECL = re.compile(r"\s*(#|template\b|static_assert\b|using\b|namespace\b|alignas\b)")
KEYWORDS = {"return", "else", "case", "do"}
INT = re.compile(r"(0[xX][0-9A-Fa-f]+|[1-9][0-9]*|0)([uUlL]*)$")


def int_mutants(text):
    m = INT.match(text)
    if not m:
        return []
    digits, suffix = m.groups()
    hexa = digits[:2].lower() == "0x"
    value = int(digits, 16 if hexa else 10)
    spell = (lambda v: digits[:2] + format(v, "X" if digits[2:].isupper() else "x")) \
        if hexa else str
    return [spell(v) + suffix for v in ([1] if value == 0 else [value + 1, value - 1])]


def subscript(prev, prev2):
    """Whether a '[' after these two tokens indexes (not `T name[n]`, `= [&]`)."""
    if prev and prev[1] in ("]", ")"):
        return True
    if not prev or prev[0] != "word" or prev[1] in KEYWORDS:
        return False
    return not (prev2 and prev2[0] == "word" and prev2[1] not in KEYWORDS)


def index_end(src, col):
    """Column of the ']' closing the '[' at col on the same line, or None."""
    depth = 0
    for i in range(col, len(src)):
        depth += {"[": 1, "]": -1}.get(src[i], 0)
        if depth == 0:
            return i if i > col + 1 else None
    return None


def mutants_of(root, path):
    """All mutants of one file, in source order."""
    text = open(os.path.join(root, path), encoding="utf-8").read()
    starts = [0] + [i + 1 for i, c in enumerate(text) if c == "\n"]
    lines = text.split("\n")
    out, prev, prev2 = [], None, None
    for m in TOKEN.finditer(text):
        if m.group("skip"):
            continue
        kind, tok = m.lastgroup, m.group()
        line = bisect.bisect_right(starts, m.start()) - 1
        col, src = m.start() - starts[line], lines[line]
        spaced = src[col - 1:col] == " " == src[col + len(tok):col + len(tok) + 1]
        news = []
        macro = line > 0 and lines[line - 1].rstrip().endswith("\\")
        if DECL.match(src) or macro:
            pass
        elif kind == "num":
            news = [(tok, n) for n in int_mutants(tok)]
        elif tok in PLAIN:
            news = [(tok, PLAIN[tok])]
        elif tok in SPACED and spaced:
            news = [(tok, SPACED[tok])]
        elif tok == "[" and subscript(prev, prev2):
            close = index_end(src, col)
            if close and "->" not in src[col:close + 1]:
                inner = src[col + 1:close]
                news = [(src[col:close + 1],
                         f"[({inner}) + 1]" if " " in inner else f"[{inner} + 1]")]
        out += [f"{path}:{line + 1}:{col + 1}:{old}->{new}" for old, new in news]
        prev, prev2 = (kind, tok), prev
    return out


def parse(mutant):
    path, line, col, change = mutant.split(":", 3)
    old, new = change.split("->", 1)
    return path, int(line), int(col), old, new


def kind_of(old):
    if old[0].isdigit() or old[0] == "[":
        return "number" if old[0].isdigit() else "index"
    if old in ("<", "<=", ">", ">=", "==", "!="):
        return "compare"
    return "logic" if old in ("&&", "||", "true", "false") else "arithmetic"


def sample(root, files, n, seed):
    """About n mutants over files by non-blank lines, at least one each."""
    per = {f: ms for f in files if (ms := mutants_of(root, f))}
    size = {f: sum(1 for ln in open(os.path.join(root, f)) if ln.strip()) for f in per}
    total = sum(size.values())
    want = {f: max(1, n * size[f] // total) for f in per}
    for f in sorted(per, key=lambda f: (-(n * size[f] % total), f))[
            :max(0, n - sum(want.values()))]:
        want[f] += 1
    out = []
    for f in sorted(per):
        # Kinds take turns, so that shuffle-mask tables full of numbers don't
        # crowd out the operators.
        rng, kinds = random.Random(f"{seed}:{f}"), {}
        for m in per[f]:
            kinds.setdefault(kind_of(parse(m)[3]), []).append(m)
        queues = [rng.sample(ms, len(ms)) for _, ms in sorted(kinds.items())]
        rng.shuffle(queues)
        turns = [q[i] for i in range(len(per[f])) for q in queues if i < len(q)]
        out += sorted(turns[:want[f]], key=lambda m: parse(m)[1:3])
    return out


def read_tsv(path):
    rows = {}
    if os.path.exists(path):
        for ln in open(path):
            parts = ln.rstrip("\n").split("\t")
            if len(parts) >= 2 and parts[0] != "mutant":
                rows[parts[0]] = parts[1:]
    return rows


def sh(cmd, timeout):
    """(exit code or None on timeout, output); stops the whole process group."""
    p = subprocess.Popen(cmd, stdout=subprocess.PIPE, stderr=subprocess.STDOUT, text=True,
                         start_new_session=True)
    try:
        out = p.communicate(timeout=timeout)[0]
        return p.returncode, out
    except subprocess.TimeoutExpired:
        return None, ""
    finally:
        if p.poll() is None:
            os.killpg(p.pid, signal.SIGKILL)
            p.wait()


def build(a):
    return sh(["cmake", "--build", a.build, "--target", *a.targets.split(), "-j1"], 1800)


def run_suite(a):
    """(status, first failing tests)."""
    if a.unit_only:
        rc, out = sh([os.path.join(a.build, "tests", "tav_tests"), "--gtest_brief=1"],
                     a.timeout)
        failed = re.findall(r"\[  FAILED  \] (\S+)", out)
    else:  # the first failure is enough to call the mutant killed
        rc, out = sh(["ctest", "--test-dir", a.build, "-j2", "--timeout", str(a.timeout),
                      "--stop-on-failure"] + (["-E", a.exclude] if a.exclude else []), 3600)
        failed = re.findall(r"^\s*\d+ - (\S+).*\((\w[\w ]*)\)$",
                            out.partition("tests FAILED:")[2], re.M)
        if rc and failed and all(kind == "Timeout" for _, kind in failed):
            rc = None
        failed = [name for name, _ in failed]
    status = "timeout" if rc is None else "killed" if rc else "survived"
    return status, ",".join(failed[:3])


def interrupted(*_):
    raise KeyboardInterrupt  # unwinds through the restoring `finally`


def run(a):
    mutants = [ln.strip() for ln in open(a.list) if ln.strip() and not ln.startswith("#")]
    done = read_tsv(a.out)
    todo = [m for m in mutants if m not in done]
    print(f"{len(mutants)} mutants, {len(done)} already in {a.out}, {len(todo)} to run")
    if todo and not a.no_check:
        rc, out = build(a)
        status = run_suite(a) if rc == 0 else ("nocompile", out[-2000:])
        if status[0] != "survived":
            sys.exit(f"the unmutated tree fails: {status}")
    signal.signal(signal.SIGTERM, interrupted)
    fresh = not os.path.exists(a.out)
    with open(a.out, "a") as tsv:
        if fresh:
            tsv.write("mutant\tstatus\tseconds\tfailed\n")
        for i, m in enumerate(todo, 1):
            path, line, col, old, new = parse(m)
            full, t0 = os.path.join(a.root, path), time.time()
            original = open(full, "rb").read() if os.path.isfile(full) else b""
            lines = original.decode("utf-8").split("\n")
            src = lines[line - 1] if line <= len(lines) else ""
            if src[col - 1:col - 1 + len(old)] != old:
                status, failed = "stale", ""
            else:
                lines[line - 1] = src[:col - 1] + new + src[col - 1 + len(old):]
                try:
                    with open(full, "wb") as f:
                        f.write("\n".join(lines).encode("utf-8"))
                    rc, _ = build(a)
                    status, failed = run_suite(a) if rc == 0 else ("nocompile", "")
                finally:
                    with open(full, "wb") as f:
                        f.write(original)
            secs = time.time() - t0
            tsv.write(f"{m}\t{status}\t{secs:.0f}\t{failed}\n")
            tsv.flush()
            print(f"[{i}/{len(todo)}] {status:9} {secs:4.0f}s {m}", flush=True)
    build(a)  # leave the build matching the sources
    summary(a.out)


def summary(path):
    rows = read_tsv(path)
    count = dict.fromkeys(("killed", "timeout", "survived", "nocompile", "stale"), 0)
    for r in rows.values():
        count[r[0]] = count.get(r[0], 0) + 1
    caught = count["killed"] + count["timeout"]
    rate = 100.0 * caught / max(1, caught + count["survived"])
    print(f"total {len(rows)}  " + "  ".join(f"{k} {v}" for k, v in count.items())
          + f"  kill rate {rate:.1f}%")
    for m, r in rows.items():
        if r[0] == "survived":
            print(f"  survived {m}")


def compare(a_path, b_path):
    a, b = read_tsv(a_path), read_tsv(b_path)
    lost = [m for m, r in a.items()
            if r[0] in ("killed", "timeout") and m in b and b[m][0] == "survived"]
    other = [m for m in a if m not in b or b[m][0] in ("nocompile", "stale")]
    for m in lost:
        print(f"killed in A, alive in B: {m}  (A: {a[m][2]})")
    print(f"{len(lost)} mutants killed in A survive in B; "
          f"{len(other)} of A not comparable in B (missing, stale or nocompile)")
    return 1 if lost else 0


def main():
    p = argparse.ArgumentParser(description=__doc__.split("\n")[0])
    sub = p.add_subparsers(dest="cmd", required=True)
    for name in ("list", "sample"):
        s = sub.add_parser(name)
        s.add_argument("files", nargs="+", help="files or globs, relative to --root")
        s.add_argument("--root", default=".")
        if name == "sample":
            s.add_argument("-n", type=int, default=100)
            s.add_argument("--seed", default="1")
            s.add_argument("-o", "--output", required=True)
    r = sub.add_parser("run")
    for opt, default in (("--list", None), ("--out", None), ("--root", "."),
                         ("--build", "build/mut"), ("--targets", "tav_tests tav_cli")):
        r.add_argument(opt, default=default, required=default is None)
    r.add_argument("--exclude", default="", help="ctest -E regex")
    r.add_argument("--unit-only", action="store_true", help="run tests/tav_tests only")
    r.add_argument("--timeout", type=int, default=60, help="seconds per test")
    r.add_argument("--no-check", action="store_true", help="skip the unmutated run")
    sub.add_parser("summary").add_argument("tsv")
    sub.add_parser("compare").add_argument("tsv", nargs=2, help="run A, run B")
    a = p.parse_args()
    if a.cmd in ("list", "sample"):
        files = sorted({os.path.relpath(h, a.root) for pat in a.files
                        for h in glob.glob(os.path.join(a.root, pat), recursive=True)
                        if os.path.isfile(h)})
        ms = (sample(a.root, files, a.n, a.seed) if a.cmd == "sample"
              else [m for f in files for m in mutants_of(a.root, f)])
        if a.cmd == "list":
            print("\n".join(ms))
        else:
            with open(a.output, "w") as f:
                f.write("".join(m + "\n" for m in ms))
            print(f"{len(ms)} mutants written to {a.output}")
    elif a.cmd == "run":
        a.build = os.path.abspath(a.build)
        run(a)
    elif a.cmd == "summary":
        summary(a.tsv)
    else:
        sys.exit(compare(*a.tsv))


if __name__ == "__main__":
    main()
