#!/usr/bin/env python3
"""Writes directivity.json, the source of the System directivity library, from textbook formulas.

    python3 data/system/directivity.py > data/system/directivity.json

Levels are 20 lg of the pressure pattern, 0 dB on the axis, rounded to 0.01 dB and never below FLOOR_DB.
theta is measured from the upward axis, phi around it. docs/directivity.md ("Shipped directivities") explains
the choices; the formulas and their sources are cited in the comments below and in each element's comment.
"""

import math
import sys

FLOOR_DB = -40.0  # stands for the nulls, where the formulas give minus infinity
STEP = 10  # degrees between samples; the grid uses the same step, so it holds the samples exactly
RADIUS_M = 0.1  # piston radius a
SPEED_OF_SOUND = 343.0  # m/s, air at about 20 degrees Celsius
# Octave bands 63 Hz .. 8 kHz: band number -> nominal mid frequency in Hz (ka uses the nominal frequency).
OCTAVES = {18: 63, 21: 125, 24: 250, 27: 500, 30: 1000, 33: 2000, 36: 4000, 39: 8000}
SINGLE_BAND = 27  # the band of a frequency-independent directivity

CROCKER = ("M. J. Crocker: Engineering Acoustics, Wiley 2021 (ISBN 978-1-118-69382-7), Section 3.9 and "
           "Figure 3.11: a monopole radiates equally in all directions; the intensity radiated by a dipole "
           "depends on cos^2 theta, theta measured from the dipole axis")
EARGLE_MIC = ("J. Eargle: The Microphone Book, 3rd ed., Focal Press 2012 (ISBN 978-0-240-82078-1), Chapter 5 "
              "(First-Order Directional Microphones): first-order patterns are a constant plus a cosine term, "
              "rho = A + B cos theta; the cardioid is the sum of an omnidirectional and a figure-eight pattern, "
              "1 + cos theta")
EARGLE_PISTON = ("J. M. Eargle: Electroacoustical Reference Data, Van Nostrand Reinhold 1994 (Springer, "
                 "doi:10.1007/978-1-4615-2027-6_35), Off-Axis Response of a Piston in a Large Baffle: "
                 "2 J1((pi d / lambda) sin alpha) / ((pi d / lambda) sin alpha), d the diameter, so "
                 "pi d / lambda = ka; T. E. Vigran: Building Acoustics, Taylor & Francis 2008 "
                 "(ISBN 978-0-415-42853-8), Eq. (3.51)")


def j1(x):
    """Bessel function of the first kind, order 1, by its power series
    J1(x) = sum_m (-1)^m (x/2)^(2m+1) / (m! (m+1)!), summed exactly enough for x up to about 20."""
    terms = []
    term = x / 2.0
    m = 0
    while True:
        terms.append(term)
        m += 1
        term *= -(x / 2.0) ** 2 / (m * (m + 1))
        if abs(term) < 1e-18 and m > x:
            break
    return math.fsum(terms)


def level(pressure_ratio):
    """20 lg |p / p_axis|, rounded to 0.01 dB and held at the floor."""
    p = abs(pressure_ratio)
    if p == 0.0:
        return FLOOR_DB
    return round(max(FLOOR_DB, 20.0 * math.log10(p)), 2)


def monopole(theta):
    return 1.0


def dipole(theta):
    return math.cos(math.radians(theta))


def cardioid(theta):
    return (1.0 + math.cos(math.radians(theta))) / 2.0


def piston(theta, frequency):
    """2 J1(ka sin theta) / (ka sin theta) in front of the baffle; nothing behind it (theta > 90)."""
    if theta > 90:
        return 0.0
    x = 2.0 * math.pi * frequency / SPEED_OF_SOUND * RADIUS_M * math.sin(math.radians(theta))
    return 1.0 if x == 0.0 else 2.0 * j1(x) / x


def angles(last):
    return range(0, last + 1, STEP)


def samples_rot(pattern_by_band):
    """Samples along theta at phi 0 of a rotationally symmetric directivity."""
    return [{"theta": t, "phi": 0, "values": {str(b): level(f(t)) for b, f in pattern_by_band.items()}}
            for t in angles(180)]


def samples_hor(pattern_by_band):
    """Samples along phi in the horizontal plane (theta 90)."""
    return [{"theta": 90, "phi": p, "values": {str(b): level(f(p)) for b, f in pattern_by_band.items()}}
            for p in angles(360 - STEP)]


def single(name, comment, dir_type, samples):
    return {"name": name, "comment": comment, "dirType": dir_type, "bandType": 2, "bmin": SINGLE_BAND,
            "bmax": SINGLE_BAND, "stepH": STEP, "stepV": STEP, "samples": samples,
            "interpolation": {"kind": "cubic"}}


def elements():
    floor = f"Values below {FLOOR_DB:.0f} dB, and the null itself, are set to {FLOOR_DB:.0f} dB."
    grid = (f"Samples every {STEP} degrees, rounded to 0.01 dB; the grid has {STEP} degree steps and so holds "
            "the samples themselves.")
    ka = ", ".join(f"{f} Hz: ka = {2 * math.pi * f / SPEED_OF_SOUND * RADIUS_M:.3f}" for f in OCTAVES.values())
    return [
        single("Monopole (omnidirectional)",
               "A point source radiating equally in all directions: 0 dB everywhere, for all frequencies. "
               f"{grid} Source: {CROCKER}.",
               1, samples_rot({SINGLE_BAND: monopole})),
        single("Dipole, vertical axis",
               "Two equal monopoles of opposite phase, close together compared with the wavelength, on the "
               "upward axis: L = 20 lg|cos theta| (intensity proportional to cos^2 theta), for all "
               "frequencies; no sound in the horizontal plane (theta = 90 degrees). "
               f"{floor} {grid} Source: {CROCKER}.",
               1, samples_rot({SINGLE_BAND: dipole})),
        single("Cardioid, vertical axis",
               "First-order cardioid pattern around the upward axis, normalised to 0 dB on the axis: "
               "L = 20 lg((1 + cos theta) / 2), for all frequencies; -6.02 dB at theta = 90 degrees, a null "
               f"straight down. {floor} {grid} Source: {EARGLE_MIC}.",
               1, samples_rot({SINGLE_BAND: cardioid})),
        single("Cardioid, horizontal plane",
               "First-order cardioid pattern in the horizontal plane, main direction phi = 0, normalised to "
               "0 dB there: L = 20 lg((1 + cos phi) / 2), for all frequencies; -6.02 dB at phi = 90 and 270 "
               f"degrees, a null at phi = 180 degrees. {floor} {grid} Source: {EARGLE_MIC}.",
               0, samples_hor({SINGLE_BAND: cardioid})),
        {"name": "Circular piston in baffle, a = 0.1 m",
         "comment": f"Rigid circular piston of radius a = {RADIUS_M} m in an infinite baffle (the plane theta "
                    "= 90 degrees), radiating upward; far field: L = 20 lg|2 J1(ka sin theta) / "
                    f"(ka sin theta)| for theta from 0 to 90 degrees, k = 2 pi f / c, c = {SPEED_OF_SOUND:.0f} "
                    f"m/s, f the nominal mid frequency of each octave band ({ka}). The baffle lets no sound "
                    f"behind it: theta above 90 degrees is {FLOOR_DB:.0f} dB. {floor} {grid} "
                    f"Source: {EARGLE_PISTON}.",
         "dirType": 1, "bandType": 1, "bmin": min(OCTAVES), "bmax": max(OCTAVES), "stepH": STEP,
         "stepV": STEP,
         "samples": samples_rot({b: (lambda t, f=f: piston(t, f)) for b, f in OCTAVES.items()}),
         "interpolation": {"kind": "cubic"}},
    ]


def dump(value):
    """Compact JSON for one sample or one small object on a line."""
    if isinstance(value, dict):
        return "{" + ", ".join(f'"{k}": {dump(v)}' for k, v in value.items()) + "}"
    if isinstance(value, float):
        return repr(value + 0.0)  # no "-0.0"
    if isinstance(value, str):
        return '"' + value.replace("\\", "\\\\").replace('"', '\\"') + '"'
    return str(value)


def main():
    source = (f"Directivities from textbook formulas, levels 20 lg of the pressure pattern relative to the "
              f"axis, floor {FLOOR_DB:.0f} dB. Monopole and dipole: {CROCKER}. Cardioid: {EARGLE_MIC}. "
              f"Circular piston in a baffle: {EARGLE_PISTON}. Computed by data/system/directivity.py.")
    out = ['{', '  "type": 119,', '  "file": "RiwiX.abs",', f'  "source": {dump(source)},', '  "elements": [']
    items = elements()
    for i, e in enumerate(items):
        out.append("    {")
        keys = list(e)
        for k in keys:
            end = "," if k != keys[-1] else ""
            if k == "samples":
                out.append('      "samples": [')
                out += [f"        {dump(s)}" + ("," if j + 1 < len(e[k]) else "") for j, s in enumerate(e[k])]
                out.append("      ]" + end)
            else:
                out.append(f'      "{k}": {dump(e[k])}{end}')
        out.append("    }" + ("," if i + 1 < len(items) else ""))
    out += ["  ]", "}"]
    sys.stdout.write("\n".join(out) + "\n")


if __name__ == "__main__":
    main()
