#!/usr/bin/python3
# Copyright 2026 The libkelp authors
# SPDX-License-Identifier: Apache-2.0
"""Turns the recordings of unpacked Debian packages into a speech corpus for a telephone codec.

  corpus.py DIR PACKAGE...

Reads DIR/packages/PACKAGE; corpus.sh fetches them. Recordings of one voice are joined to files of
10 s to 30 s, down to 3 s where there is no more of it. Each file gets a send characteristic, a
level and a background noise in rotation: every training recording twice, under different
conditions, the held-out ones once.
"""

import collections
import hashlib
import math
import multiprocessing
import os
import re
import shutil
import struct
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
    "festvox-ru",
    "fillets-ng-data-nl",
    "pocketsphinx-testdata",
}
HELD_OUT_LANGUAGES = {"ru", "es", "el", "nl", "uk", "lt", "pt_BR", "sl", "nn"}
HELD_OUT_FROM = {"hedgewars-data", "klettres-data", "ktuberling-data", "tuxpaint-stamps-default"}

# Of codec2-examples, the speech: no modem signals, nothing named as a codec's output, no repeats.
CODEC2 = (
    r"(wav/(big_dog|forig|hts1a|hts2a|mmt1|morig|ve9qrp|vk5qi)\.wav"
    r"|raw/(g3plx|kristoff)\.raw|raw/speech_orig_16k\.wav)$"
)
# Of tuxpaint-stamps-default, the spoken descriptions, and the numbers and letters of which the
# language is named; its other sounds are those of animals and machines.
TUXPAINT = (
    r"(_desc|(_desc|/math/\d|/[A-Za-z]_(filled|outline))_(?P<lang>[a-z]{2,3}(_[A-Za-z]{2})?))\.ogg$"
)

# What a path must match to be speech, the licence as the package's copyright file names it, and the
# language where the path names none. The groups "lang" and "voice" tell voices apart.
Source = collections.namedtuple("Source", "package pattern licence language")
TONES = "silence/|beep|(a|de)scending-2tone|confbridge-(join|leave)\\.|tt-monkeys\\."
PROMPTS = rf"/sounds/[^/]+/(?!{TONES}).*\.wav$"
# The two fish; the other characters' voices are altered or are no speech.
FISH = r"/([^/]*[-_])?(?P<voice>[mv])[-_.][^/]*$"
SOURCES = [
    Source("asterisk-core-sounds-en-wav", PROMPTS, "CC-BY-SA-3.0", "en"),
    Source("asterisk-core-sounds-es-wav", PROMPTS, "CC-BY-SA-3.0", "es"),
    Source("asterisk-core-sounds-fr-wav", PROMPTS, "CC-BY-SA-3.0", "fr"),
    Source("asterisk-core-sounds-it-wav", PROMPTS, "CC-BY-3.0", "it"),
    Source("asterisk-core-sounds-ru-wav", PROMPTS, "CC-BY-3.0", "ru"),
    Source("asterisk-prompt-it-menardi-wav", PROMPTS, "CC-SA-BY-3.0", "it"),
    Source("codec2-examples", CODEC2, "LGPL-2.1", "en"),
    # Every other sentence, for the balance.
    Source("festvox-ru", r"/wav/ru_\d*[02468]\.wav$", "BSD-like", "ru"),
    Source("fillets-ng-data-cs", "/cs" + FISH, "GPL-2", "cs"),
    Source("fillets-ng-data-nl", "/nl" + FISH, "GPL-2", "nl"),
    Source("gcin-voice", r"/(?P<voice>[35])\.ogg$", "GPL-3 or LGPL-3, CC-BY-3", "zh"),
    # Neither the robot nor the singer.
    Source(
        "hedgewars-data",
        r"/voices/(?P<voice>(?!Robot|Singer)[A-Za-z]+(_(?P<lang>[a-z]{2}))?)/[^/]*\.ogg$",
        "GFDL-1.3",
        "en",
    ),
    Source("klettres-data", r"/klettres/(?P<lang>[A-Za-z_]+)/.*\.ogg$", "GPL-2+", "en"),
    Source("ktuberling-data", r"/(?P<lang>[A-Za-z_@]+)/[^/]*\.(ogg|wav|opus)$", "GPL-2+", "en"),
    Source(
        "pocketsphinx-testdata",
        r"/((cards|librivox)/.*\.wav|data/[a-z]*\.raw)$",
        "BSD-2",
        "en",
    ),
    Source("tuxpaint-stamps-default", TUXPAINT, "GPL-2", "en"),
]

LEVELS = (-16, -20, -24, -28, -32, -36)  # dBov of active speech
NOISES = ("clean", "white", "clean", "pink", "clean", "babble", "clean", "clean")
NOISE_SNRS = (20, 25, 30)
TURNS = {"train": 2, "heldout": 1}
PEAK = 0.94  # of full scale; a louder file is turned down
SHORTEST = 0.15  # s, of a stretch of speech
MOST_CLIPPED = 0.1  # of a recording; more, and it is left out whole

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
                match = re.search(source.pattern, path[len(root) :])
                if not match or os.path.islink(path):
                    continue
                groups = match.groupdict()
                language, voice = groups.get("lang") or source.language, groups.get("voice") or ""
                held = source.package in HELD_OUT_PACKAGES or (
                    source.package in HELD_OUT_FROM and language in HELD_OUT_LANGUAGES
                )
                kind = "heldout" if held else "train"
                found.append(Recording(path, source.package, language, voice, kind))
    return found


def read(path, raw_rate):
    """The sampling rate and the mean of the channels."""
    if path.endswith(".raw"):
        return raw_rate, np.fromfile(path, "<i2").astype(np.float64) / 32768
    with tempfile.TemporaryDirectory() as work:
        if path.endswith(".opus"):  # sox may lack it
            plain = os.path.join(work, "plain.wav")
            convert = ["sndfile-convert", "-pcm16", path, plain]
            subprocess.run(convert, check=True, capture_output=True)
            path = plain
        command = ["sox", "-D", "-V1", path, "-t", "wav", "-e", "signed", "-b", "16", "-"]
        data = subprocess.run(command, check=True, capture_output=True).stdout
    # sox cannot seek in a pipe: the sizes in its header are not the true ones.
    channels, rate = struct.unpack("<HI", data[22:28])
    frames = (len(data) - 44) // (2 * channels)
    samples = np.frombuffer(data, "<i2", frames * channels, 44) / 32768
    return rate, samples.reshape(-1, channels).mean(axis=1)


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


RUMBLE_FILTER = signal.butter(4, 70, "highpass", fs=RATE, output="sos")


def to_rate(samples, rate):
    """Samples at 8 kHz, without rumble."""
    if rate == RATE:
        return signal.sosfilt(RUMBLE_FILTER, samples)
    common = math.gcd(rate, RATE)
    up, down = RATE // common, rate // common
    taps = signal.firwin(80 * max(up, down) + 1, 3800, window=("kaiser", 8), fs=RATE * up)
    return signal.sosfilt(RUMBLE_FILTER, signal.resample_poly(samples, up, down, window=taps))


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
    """The power of the active speech, and the samples without silent ends, faded in and out."""
    mean, active = active_power(samples)
    if mean < 1e-7 or active.sum() < SHORTEST * 50:
        return 0.0, samples[:0]
    frames = np.flatnonzero(active)
    frame = RATE // 50
    samples = samples[frames[0] * frame : (frames[-1] + 1) * frame].copy()
    ramp = np.linspace(0, 1, RATE // 200)
    samples[: len(ramp)] *= ramp
    samples[-len(ramp) :] *= ramp[::-1]
    return mean, samples


def prepare(recording):
    """Stretches of speech at 8 kHz, a digest of the sound, seconds left out as clipped, problem."""
    try:
        raw_rate = 16000 if recording.package == "pocketsphinx-testdata" else RATE
        rate, samples = read(recording.path, raw_rate)
    except (subprocess.CalledProcessError, ValueError, struct.error) as problem:
        return [], "", 0.0, f"not readable: {problem}"
    if not RATE <= rate <= 48000:
        return [], "", 0.0, f"sampled at {rate} Hz"
    digest = hashlib.sha256(samples.tobytes()).hexdigest()
    stretches = whole_stretches(samples, rate)
    lost = (len(samples) - sum(map(len, stretches))) / rate
    if lost > MOST_CLIPPED * len(samples) / rate:
        return [], digest, 0.0, "clipped all over"
    done = [trim(to_rate(s, rate)) for s in stretches if len(s) >= SHORTEST * rate]
    # All at one level, that of the loudest; what is 15 dB below it is the pause after the speech.
    power = max((mean for mean, _ in done), default=0.0)
    kept = [s * math.sqrt(0.01 / power) for mean, s in done if 30 * mean > power]
    kept = [s.astype(np.float32) for s in kept]
    return kept, digest, lost, "" if kept else "too short or silent"


def gains_to_fir(frequencies, gains_db, taps=257):
    return signal.firwin2(taps, frequencies, 10 ** (np.array(gains_db) / 20), fs=RATE)


# As recorded, the telephone band, and about the send response of a telephone set, rising to 3 kHz.
SEND = {
    "flat": None,
    "band": gains_to_fir(
        (0, 200, 300, 400, 3300, 3400, 3600, 4000), (-60, -30, -3, 0, 0, -3, -30, -60)
    ),
    "irs": gains_to_fir(
        (0, 100, 200, 300, 500, 1000, 2000, 3000, 3400, 3600, 4000),
        (-60, -45, -19, -11, -7, -4, 0, 2, -4, -12, -40),
    ),
}


def conditions(index, turn):
    """Send characteristic, level, noise and its SNR of the index-th file in the given turn."""
    order = np.random.default_rng(1).permutation(len(LEVELS) * len(NOISES))
    pick = order[(index // len(SEND) + turn * len(order) // 3) % len(order)]
    send = list(SEND)[(index + turn) % len(SEND)]
    snr = NOISE_SNRS[(index // (len(SEND) * len(order)) + index) % len(NOISE_SNRS)]
    return send, LEVELS[pick % len(LEVELS)], NOISES[pick // len(LEVELS)], snr


def noise_of(kind, length, rng, babble):
    if kind == "babble":
        start = rng.integers(len(babble))
        return np.take(babble, np.arange(start, start + length), mode="wrap").astype(np.float64)
    white = rng.standard_normal(length)
    if kind == "white":
        return white
    spectrum = np.fft.rfft(white)
    bins = np.maximum(np.arange(len(spectrum)), length * 50 / RATE)  # flat below 50 Hz
    return np.fft.irfft(spectrum / np.sqrt(bins), length)


# What is written: set by main() before it starts the processes that read it.
Output = collections.namedtuple("Output", "set key path speech seed condition")
outputs = []
crowd = {}


def write_output(number):
    """Writes outputs[number]; seconds and level in dBov of active speech."""
    output = outputs[number]
    send, level, noise, snr = output.condition
    rng = np.random.default_rng(output.seed)

    def with_noise(x):
        y = noise_of(noise, len(x), rng, crowd[output.set])
        return x + y * math.sqrt(active_power(x)[0] * 10 ** (-snr / 10) / np.mean(y**2))

    # Babble and pink noise are around the speaker; white noise is the line's.
    x = output.speech.astype(np.float64)
    if noise in ("babble", "pink"):
        x = with_noise(x)
    if SEND[send] is not None:
        x = signal.oaconvolve(x, SEND[send], "same")
    if noise == "white":
        x = with_noise(x)
    x *= math.sqrt(10 ** (level / 10) / active_power(x)[0])
    x *= min(1, PEAK / np.abs(x).max())
    with wave.open(output.path, "wb") as file:
        file.setnchannels(1)
        file.setsampwidth(2)
        file.setframerate(RATE)
        file.writeframes(np.rint(x * 32768).astype("<i2").tobytes())
    return len(x) / RATE, 10 * math.log10(active_power(x)[0])


def join(pieces):
    """Pieces joined, 0.1 s apart: 10 s to 30 s, or all there is."""
    gap = np.zeros(RATE // 10, np.float32)
    longest = 30 * RATE
    files, current = [], []
    for piece in pieces:
        for part in np.array_split(piece, math.ceil(len(piece) / (longest - len(gap)))):
            if sum(map(len, current)) + len(part) + len(gap) > longest:
                files.append(current)
                current = []
            current += [part, gap]
            if sum(map(len, current)) >= 10 * RATE:
                files.append(current)
                current = []
    if current and sum(map(len, current)) < 3 * RATE and files:
        files[-1] += current
    elif current:
        files.append(current)
    return [np.concatenate(f) for f in files]


def voices_of(recordings, prepared, problems):
    """The stretches of each voice. A sound under two names counts once, held out if either is."""
    seen = set()
    voices = collections.defaultdict(list)
    by_set = sorted(zip(recordings, prepared), key=lambda pair: pair[0].set)
    for recording, (pieces, digest, _, problem) in by_set:
        if not problem and digest in seen:
            problem = "the same as another"
        seen.add(digest)
        if problem:
            problems[recording.package, problem] += 1
            continue
        key = (recording.package, recording.language, recording.voice)
        voices[recording.set, key] += pieces
    return voices


def plan(folder, voices, problems):
    """Fills outputs and crowd."""
    for kind, turns in TURNS.items():
        speech = []
        for key in sorted(key for set_, key in voices if set_ == kind):
            joined = join(voices[kind, key])
            if len(joined[0]) < 3 * RATE:
                problems[key[0], "the voice says less than 3 s"] += 1
                continue
            speech += [(key, n, x) for n, x in enumerate(joined)]
        # A crowd is eight of the set's voices at once, for a minute.
        rng = np.random.default_rng(2)
        crowd[kind] = np.zeros(60 * RATE, np.float32)
        for _ in range(8 if speech else 0):
            one = np.concatenate([speech[n][2] for n in rng.integers(len(speech), size=20)])
            crowd[kind] += np.resize(one, len(crowd[kind]))
        for turn in range(turns):
            for index, (key, n, x) in enumerate(speech):
                name = "-".join(part for part in (*key, f"{n:03d}", "ab"[turn]) if part) + ".wav"
                path = os.path.join(folder, kind + ".new", name)
                seed = [index, turn]
                outputs.append(Output(kind, key, path, x, seed, conditions(index, turn)))


def table(kind, written):
    """Minutes and languages of each source."""
    rows = collections.defaultdict(lambda: [0.0, 0, set()])
    minutes_of = collections.Counter()
    for output, (seconds, _) in zip(outputs, written):
        if output.set != kind:
            continue
        for row in rows[output.key[0]], rows["total"]:
            row[0] += seconds / 60
            row[1] += 1
            row[2].add(output.key[1])
        minutes_of[output.condition[0]] += seconds / 60
        minutes_of[output.condition[2]] += seconds / 60
    licences = {source.package: source.licence for source in SOURCES}
    lines = [f"{kind}: each recording " + ("once" if TURNS[kind] == 1 else f"{TURNS[kind]} times")]
    total = rows.pop("total", [0.0, 0, set()])
    for name, (minutes, count, languages) in sorted(rows.items()):
        lines.append(
            f"  {name:30} {minutes:6.1f} min {count:5} files  {licences[name]:24}  "
            + " ".join(sorted(languages))
        )
    minutes, count, languages = total
    lines.append(f"  {'total':30} {minutes:6.1f} min {count:5} files  {len(languages)} languages")
    lines.append("  " + ", ".join(f"{name} {m:.0f} min" for name, m in sorted(minutes_of.items())))
    return lines


def main():
    folder, packages = os.path.abspath(sys.argv[1]), set(sys.argv[2:])
    recordings = find_recordings(folder, packages)
    problems = collections.Counter()
    with multiprocessing.Pool() as pool:
        prepared = pool.map(prepare, recordings, chunksize=16)
    plan(folder, voices_of(recordings, prepared, problems), problems)

    for kind in TURNS:
        shutil.rmtree(os.path.join(folder, kind + ".new"), ignore_errors=True)
        os.makedirs(os.path.join(folder, kind + ".new"))
    with multiprocessing.Pool() as pool:
        written = pool.map(write_output, range(len(outputs)), chunksize=8)
    for kind in TURNS:
        shutil.rmtree(os.path.join(folder, kind), ignore_errors=True)
        os.rename(os.path.join(folder, kind + ".new"), os.path.join(folder, kind))

    lists = collections.defaultdict(list)
    for output, (_, level) in zip(outputs, written):
        send, _, noise, snr = output.condition
        path = os.path.join(folder, output.set, os.path.basename(output.path))
        background = noise if noise == "clean" else f"{noise}{snr}"
        condition = f"{send} {level:.0f} {background}"
        lists[output.set].append(f"{path}\t{condition}\t{output.key[0]}\n")
    lines = []
    for kind in TURNS:
        with open(os.path.join(folder, kind + ".list"), "w", encoding="utf-8") as file:
            file.writelines(sorted(lists[kind]))
        lines += table(kind, written)
    lines.append(f"left out: {sum(p[2] for p in prepared):.0f} s around clipped samples")
    for (package, problem), count in sorted(problems.items()):
        lines.append(f"left out: {package}: {count} x {problem}")
    for name in sorted({source.package for source in SOURCES} - packages):
        lines.append(f"left out: {name}: the package is missing")
    report = "\n".join(lines) + "\n"
    with open(os.path.join(folder, "SOURCES.txt"), "w", encoding="utf-8") as file:
        file.write(report)
    print(report, end="")


if __name__ == "__main__":
    main()
