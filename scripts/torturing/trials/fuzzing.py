# SPDX-License-Identifier: BSD-3-Clause
"""The harnesses of fuzz/, for a short turn each."""

import os

from ..builds import ROOT
from ..damage import spoil

FUZZ_SECONDS = 20


def fuzz(turn):
    """a harness of fuzz/: as a fuzzer where it is built, else on damaged seeds"""
    if turn.builds.fuzzers:
        _fuzz_on(turn)
    else:
        _replay(turn)


def _fuzz_on(turn):
    build = os.path.dirname(turn.builds.fuzzers)
    name = turn.random.choice(sorted(name for name in os.listdir(turn.builds.fuzzers)
                                     if name.startswith("fuzz_")))[len("fuzz_"):]
    corpus = os.path.join(build, "corpus", name)
    os.makedirs(corpus, exist_ok=True)
    # Inputs that it does not stand lie in the turn's directory, and so among what is kept.
    turn.run(f"-max_total_time={FUZZ_SECONDS}", "-timeout=10", "-max_len=40000",
             f"-seed={turn.random.randrange(1, 1 << 31)}", f"-artifact_prefix={turn.directory}/", corpus,
             os.path.join(turn.builds.fuzzers, "seeds", name),
             program=os.path.join(turn.builds.fuzzers, f"fuzz_{name}"), seconds=FUZZ_SECONDS + 60,
             peak_kib=3 << 20)


def _replay(turn):
    random = turn.random
    directory = os.path.join(turn.build.directory, "fuzz")
    names = sorted(name for name in (os.listdir(directory) if os.path.isdir(directory) else ())
                   if name.startswith("fuzz_") and os.access(os.path.join(directory, name), os.X_OK)
                   and os.path.isfile(os.path.join(directory, name)) and "." not in name)
    if not names:
        return
    name = random.choice(names)
    seeds = os.path.join(ROOT, "tests", "data", "fuzz", name[len("fuzz_"):])
    contents = []
    for seed in sorted(os.listdir(seeds)):
        with open(os.path.join(seeds, seed), "rb") as stream:
            contents.append(stream.read())
    # It keeps what it tries beside its own path.
    os.symlink(os.path.join(directory, name), turn.path(name))
    inputs = []
    for i in range(10):
        inputs.append(turn.write(f"input-{i}", spoil(random, random.choice(contents), random.choice(contents))))
    turn.run(*inputs, program=turn.path(name), seconds=120, peak_kib=1 << 20)
