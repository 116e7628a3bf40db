#!/usr/bin/python3
# Copyright 2026 The libkelp authors
# SPDX-License-Identifier: Apache-2.0
"""Turns the recordings of unpacked Debian packages into a speech corpus for a telephone codec.

  corpus.py DIR PACKAGE...

Reads DIR/packages/PACKAGE; corpus.sh fetches them. Recordings of one voice are joined to files of
10 s to 30 s; each file gets a send characteristic, a level and a background noise in rotation. Every
training recording goes in twice, under different conditions; the held-out ones once.
"""

import collections
import hashlib
import io
import math
import multiprocessing
import os
import re
import shutil
import subprocess
import sys
import tempfile
import wave

import numpy as np
from scipy import signal

RATE = 8000
HELD_OUT_PACKAGES = {
    "asterisk-core-sounds-ru-wav",
    "asterisk-prompt-it-menardi-wav",
    "codec2-examples",
    "fillets-ng-data-nl",
    "pocketsphinx-testdata",
}
HELD_OUT_LANGUAGES = {"ru", "es", "el", "nl", "uk", "lt", "pt_BR", "sl", "nn"}
HELD_OUT_FROM = {"hedgewars-data", "klettres-data", "ktuberling-data", "tuxpaint-stamps-default"}

# Of codec2-examples, what is speech that no codec has coded and no other file repeats.
CODEC2_SPEECH = (
    r"(wav/(big_dog|david4|forig|hts1a|hts2a|mmt1|morig|ve9qrp|vk2tpm_004|vk5qi)\.wav"
    r"|raw/(g3plx|kristoff)\.raw|raw/speech_orig_16k\.wav)$"
)
# Of tuxpaint-stamps-default, spoken descriptions, and numbers and letters where a language is named;
# the other sounds are those of animals and machines.
TUXPAINT_SPEECH = r"(_desc|(_desc|/math/\d|/[A-Za-z]_(filled|outline))_(?P<lang>[a-z]{2,3}(_[A-Za-z]{2})?))\.ogg$"

# Package, expression for the paths of its speech, and its licence. The groups "lang" and "voice"
# tell voices apart; where no group "lang" matches, the language is the one named last.
Source = collections.namedtuple("Source", "package pattern licence language")
SOURCES = [
    Source("asterisk-core-sounds-en-wav", r"sounds/[^/]*/(?!silence/).*\.wav$", "CC-BY-SA-3.0", "en"),
    Source("asterisk-core-sounds-es-wav", r"sounds/[^/]*/(?!silence/).*\.wav$", "CC-BY-SA-3.0", "es"),
    Source("asterisk-core-sounds-fr-wav", r"sounds/[^/]*/(?!silence/).*\.wav$", "CC-BY-SA-3.0", "fr"),
    Source("asterisk-core-sounds-it-wav", r"sounds/[^/]*/(?!silence/).*\.wav$", "CC-BY-SA-3.0", "it"),
    Source("asterisk-core-sounds-ru-wav", r"sounds/[^/]*/(?!silence/).*\.wav$", "CC-BY-SA-3.0", "ru"),
    Source("asterisk-prompt-it-menardi-wav", r"sounds/[^/]*/(?!silence/).*\.wav$", "CC-BY-SA-3.0", "it"),
    Source("codec2-examples", CODEC2_SPEECH, "LGPL-2.1", "en"),
    Source("fillets-ng-data-cs", r"/cs/(?!sp-shout)(?P<voice>[^/-]+-[mv]-)?[^/]*\.ogg$", "GPL-2+", "cs"),
    Source("fillets-ng-data-nl", r"/nl/(?!sp-shout)(?P<voice>[^/-]+-[mv]-)?[^/]*\.ogg$", "GPL-2+", "nl"),
    Source("gcin-voice", r"/(?P<voice>[35])\.ogg$", "GPL-3/CC-BY-3.0", "zh"),
    Source(
        "hedgewars-data",
        r"voices/(?P<voice>(?!Robot|Singer)[A-Za-z]+?(_(?P<lang>[a-z]{2}))?)/[^/]*\.ogg$",
        "GFDL-1.3",
        "en",
    ),
    Source("klettres-data", r"klettres/(?P<lang>[A-Za-z_]+)/.*\.ogg$", "GPL-2+", "en"),
    Source("ktuberling-data", r"sounds/(?P<lang>[a-zA-Z_@]+)/[^/]*\.(ogg|wav|opus)$", "GPL-2+", "en"),
    Source("pocketsphinx-testdata", r"data/((cards|librivox)/.*\.wav|[a-z]*\.raw)$", "BSD", "en"),
    Source("tuxpaint-stamps-default", TUXPAINT_SPEECH, "GPL-2+", "en"),
]

LEVELS = (-16, -20, -24, -28, -32, -36)  # dBov of active speech
NOISES = ("clean", "white", "clean", "pink", "clean", "babble", "clean", "clean")
NOISE_SNRS = (20, 25, 30)
SEND = ("flat", "band", "irs")
PASSES = {"train": 2, "heldout": 1}
PEAK = 0.94  # of full scale; a louder file is turned down

Recording = collections.namedtuple("Recording", "path package language voice set")


def find_recordings(folder, packages):
    found = []
    for source in SOURCES:
        if source.package not in packages:
            continue
        root = os.path.join(folder, "packages", source.package)
        for parent, _, names in sorted(os.walk(root)):
            for name in sorted(names):
                path = os.path.join(parent, name)
                match = re.search(source.pattern, path)
                if not match or os.path.islink(path):
                    continue
                groups = match.groupdict()
                language = groups.get("lang") or source.language
                voice = re.sub(r"^.*-([mv])-$", r"\1", groups.get("voice") or "")
                held = source.package in HELD_OUT_PACKAGES or (
                    source.package in HELD_OUT_FROM and language in HELD_OUT_LANGUAGES
                )
                found.append(
                    Recording(path, source.package, language, voice, "heldout" if held else "train")
                )
    return found


def read(path):
    """Samples of the first channels' mean, and their rate."""
    if path.endswith(".raw"):
        rate = 16000 if "pocketsphinx" in path else RATE
        return rate, np.fromfile(path, "<i2").astype(np.float64) / 32768
    command = ["sox", "-D", "-V1", path, "-t", "wav", "-e", "signed", "-b", "16", "-"]
    with tempfile.TemporaryDirectory() as work:
        if path.endswith(".opus"):
            plain = os.path.join(work, "plain.wav")
            subprocess.run(["sndfile-convert", "-pcm16", path, plain], check=True, capture_output=True)
            command[3] = plain
        data = subprocess.run(command, check=True, capture_output=True).stdout
    # sox cannot seek in a pipe: the sizes in its header are not the true ones.
    channels, rate = np.frombuffer(data[22:28], "<u2")[0], np.frombuffer(data[24:28], "<u4")[0]
    samples = np.frombuffer(data[44 : 44 + (len(data) - 44) // 2 * 2], "<i2") / 32768
    return int(rate), samples[: len(samples) // channels * channels].reshape(-1, channels).mean(axis=1)


def whole_stretches(samples, rate):
    """The stretches between clipped ones: three samples in a row at 99 % of full scale or more."""
    high = np.abs(samples) >= 0.99
    clipped = high[:-2] & high[1:-1] & high[2:] if len(high) > 2 else high[:0]
    margin = rate // 20
    at, stretches = 0, []
    for n in np.flatnonzero(clipped):
        if n - margin > at:
            stretches.append(samples[at : n - margin])
        at = max(at, n + 3 + margin)
    stretches.append(samples[at:])
    return stretches


def to_rate(samples, rate):
    if rate == RATE:
        return samples
    common = math.gcd(rate, RATE)
    up, down = RATE // common, rate // common
    if rate < RATE:
        raise ValueError("sampled below 8 kHz")
    taps = signal.firwin(80 * max(up, down) + 1, 3800, window=("kaiser", 8), fs=RATE * up)
    return signal.resample_poly(samples, up, down, window=taps)


def active_power(samples):
    """Mean power of the frames within 16 dB of it, and of those 0.1 s around them."""
    frame = RATE // 50
    power = np.mean(samples[: len(samples) // frame * frame].reshape(-1, frame) ** 2, axis=1)
    if not len(power) or not power.max() > 0:
        return 0.0, np.zeros(0, bool)
    mean = power.mean()
    for _ in range(12):
        active = np.convolve(power > mean / 40, np.ones(11))[5:-5] > 0.5
        mean = power[active].mean()
    return mean, active


def trim(samples):
    """Without the silence at the ends, faded in and out, at an active level of 0.01."""
    samples = samples - samples.mean()
    mean, active = active_power(samples)
    if mean < 1e-7 or active.sum() < 10:
        return None
    frames = np.flatnonzero(active)
    frame = RATE // 50
    samples = samples[frames[0] * frame : (frames[-1] + 1) * frame] * math.sqrt(0.01 / mean)
    ramp = np.linspace(0, 1, RATE // 200)
    samples[: len(ramp)] *= ramp
    samples[-len(ramp) :] *= ramp[::-1]
    return samples.astype(np.float32)


def prepare(recording):
    """The recording's stretches at 8 kHz, a digest of its sound, and the seconds lost to clipping."""
    try:
        rate, samples = read(recording.path)
        if recording.package == "klettres-data" and rate > 48000:
            return [], "", 0.0, "odd sampling rate"
        digest = hashlib.sha256(samples.tobytes()).hexdigest()
        stretches = whole_stretches(samples, rate)
        lost = (len(samples) - sum(map(len, stretches))) / rate
        done = [trim(to_rate(s, rate)) for s in stretches if len(s) >= 0.3 * rate]
        done = [s for s in done if s is not None]
        return done, digest, lost, "" if done else "no speech of 0.2 s"
    except (subprocess.CalledProcessError, ValueError, IndexError) as problem:
        return [], "", 0.0, f"not readable: {problem}"


def gains_to_fir(frequencies, gains_db, taps=257):
    return signal.firwin2(taps, frequencies, 10 ** (np.array(gains_db) / 20), fs=RATE)


# The telephone band, and the send response of a telephone set: rising to 3 kHz.
FILTERS = {
    "flat": None,
    "band": gains_to_fir((0, 200, 300, 400, 3300, 3400, 3600, 4000), (-60, -30, -3, 0, 0, -3, -30, -60)),
    "irs": gains_to_fir(
        (0, 100, 200, 300, 500, 1000, 2000, 3000, 3400, 3600, 4000),
        (-60, -45, -19, -11, -7, -4, 0, 2, -4, -12, -40),
    ),
}


def conditions(index, turn):
    """Send characteristic, level, noise and SNR of the index-th file in the given turn."""
    order = np.random.default_rng(1).permutation(len(LEVELS) * len(NOISES))
    pick = order[(index // len(SEND) + turn * len(order) // 3) % len(order)]
    snr = NOISE_SNRS[(index // (len(SEND) * len(NOISES)) + index) % len(NOISE_SNRS)]
    return SEND[(index + turn) % len(SEND)], LEVELS[pick % len(LEVELS)], NOISES[pick // len(LEVELS)], snr


def noise_of(kind, length, rng, babble):
    if kind == "babble":
        start = rng.integers(len(babble))
        return np.take(babble, np.arange(start, start + length), mode="wrap")
    white = rng.standard_normal(length)
    if kind == "white":
        return white
    spectrum = np.fft.rfft(white)
    return np.fft.irfft(spectrum / np.sqrt(np.maximum(np.arange(len(spectrum)), length * 50 / RATE)), length)


def write_file(job):
    path, speech, seed, (send, level, noise, snr), babble = job
    rng = np.random.default_rng(seed)
    speech = speech.astype(np.float64)
    fir = FILTERS[send]

    def sent(x):
        return x if fir is None else signal.fftconvolve(x, fir, "same")

    def with_noise(x, kinds):
        if noise not in kinds:
            return x
        y = noise_of(noise, len(x), rng, babble)
        return x + y * math.sqrt(active_power(x)[0] * 10 ** (-snr / 10) / np.mean(y**2))

    # Around the speaker is babble and pink noise; white noise is the line's.
    speech = with_noise(sent(with_noise(speech, ("pink", "babble"))), ("white",))
    speech *= math.sqrt(10 ** (level / 10) / active_power(speech)[0])
    speech *= min(1, PEAK / np.abs(speech).max())
    with wave.open(path, "wb") as file:
        file.setnchannels(1)
        file.setsampwidth(2)
        file.setframerate(RATE)
        file.writeframes(np.rint(speech * 32768).astype("<i2").tobytes())
    return len(speech) / RATE


def join(pieces):
    """Pieces joined to files of 10 s or more, none above 30 s but what is left at least 3 s long."""
    gap = np.zeros(RATE // 10, np.float32)
    longest = 30 * RATE
    cut = []
    for piece in pieces:
        parts = max(1, math.ceil(len(piece) / longest))
        cut += np.array_split(piece, parts)
    files, current = [], []
    for piece in cut:
        if current and sum(map(len, current)) + len(piece) > longest:
            files.append(current)
            current = []
        current += [piece, gap]
        if sum(map(len, current)) >= 10 * RATE:
            files.append(current)
            current = []
    if current:
        if sum(map(len, current)) < 3 * RATE and files:
            files[-1] += current
        else:
            files.append(current)
    return [np.concatenate(f) for f in files]


def main():
    folder, packages = sys.argv[1], set(sys.argv[2:])
    recordings = find_recordings(folder, packages)
    with multiprocessing.Pool() as pool:
        prepared = pool.map(prepare, recordings, chunksize=16)

        # The same sound under two names counts once, and as held out if either is.
        seen, problems, lost = set(), collections.Counter(), 0.0
        voices = collections.defaultdict(list)
        for held in (True, False):
            for recording, (pieces, digest, clipped, problem) in zip(recordings, prepared):
                if (recording.set == "heldout") != held:
                    continue
                if digest and digest in seen:
                    problem = "the same as another"
                if problem:
                    problems[recording.package, problem] += 1
                    continue
                seen.add(digest)
                lost += clipped
                voices[recording.set, recording.package, recording.language, recording.voice] += pieces

        for kind in PASSES:
            shutil.rmtree(os.path.join(folder, kind), ignore_errors=True)
            os.makedirs(os.path.join(folder, kind))
        jobs, labels, minutes_of = [], [], collections.defaultdict(float)
        for kind, passes in PASSES.items():
            chosen = {key: join(pieces) for key, pieces in sorted(voices.items()) if key[0] == kind}
            files = [(key, n, f) for key, fs in chosen.items() for n, f in enumerate(fs)]
            # A crowd is eight voices of the same set at once, a minute long.
            rng = np.random.default_rng(2)
            babble = np.zeros(60 * RATE, np.float32)
            for _ in range(8):
                stream = np.concatenate([files[n][2] for n in rng.integers(len(files), size=20)])
                babble += np.resize(stream, len(babble))
            for turn in range(passes):
                for index, (key, n, speech) in enumerate(files):
                    condition = conditions(index, turn)
                    name = "-".join(part for part in key[1:] if part)
                    path = os.path.join(folder, kind, f"{name}-{n:03d}-{'ab'[turn]}.wav")
                    send, level, noise, snr = condition
                    label = f"{send} {level} {noise if noise == 'clean' else noise + str(snr)}"
                    jobs.append((path, speech, [index, turn], condition, babble))
                    labels.append((kind, key, path, label))
        seconds = pool.map(write_file, jobs, chunksize=8)

    for kind in PASSES:
        lines = sorted(f"{path}\t{label}\n" for k, _, path, label in labels if k == kind)
        with open(os.path.join(folder, f"{kind}.list"), "w") as file:
            file.writelines(lines)

    out = io.StringIO()
    licences = {s.package: s.licence for s in SOURCES}
    for kind in PASSES:
        rows = collections.defaultdict(lambda: [0.0, 0, set()])
        by_condition = collections.Counter()
        for (k, key, _, label), length in zip(labels, seconds):
            if k == kind:
                row = rows[key[1]]
                row[0] += length / 60
                row[1] += 1
                row[2].add(key[2])
                by_condition[label.split()[0]] += length / 60
        out.write(f"{kind}: each recording {PASSES[kind]} times\n")
        for package, (minutes, count, languages) in sorted(rows.items()):
            out.write(
                f"  {package:32} {minutes:7.1f} min {count:5} files  {licences[package]:16} "
                f"{' '.join(sorted(languages))}\n"
            )
        out.write(f"  {'total':32} {sum(r[0] for r in rows.values()):7.1f} min {sum(r[1] for r in rows.values()):5} files  ")
        out.write(", ".join(f"{name} {m:.0f} min" for name, m in sorted(by_condition.items())) + "\n")
    out.write(f"left out: {lost:.1f} s of clipped stretches\n")
    for (package, problem), count in sorted(problems.items()):
        out.write(f"left out: {package}: {count} recordings: {problem}\n")
    for name in sorted({s.package for s in SOURCES} - packages):
        out.write(f"left out: {name}: the package is missing\n")
    with open(os.path.join(folder, "SOURCES.txt"), "w") as file:
        file.write(out.getvalue())
    print(out.getvalue(), end="")


if __name__ == "__main__":
    main()
