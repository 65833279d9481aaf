#!/usr/bin/env bash
# Renders the artwork in images/svg/ into the XPM C sources in images/ that the
# build compiles in. Run it again after editing an SVG and commit both.
#
# Needs rsvg-convert (Debian package librsvg2-bin), ImageMagick 6 (package
# imagemagick) and python3. It installs nothing. The output only depends on the
# SVG sources and the tool versions, so running it twice gives the same files.
set -euo pipefail

root="$(cd "$(dirname "${BASH_SOURCE[0]}")/.." && pwd)"
src="$root/images/svg"
out="$root/images"

# Use the Debian binaries by path so that a wrapper earlier in PATH cannot
# change the results.
RSVG="${RSVG:-/usr/bin/rsvg-convert}"
CONVERT="${CONVERT:-/usr/bin/convert}"
PYTHON="${PYTHON:-/usr/bin/python3}"
for tool in "$RSVG" "$CONVERT" "$PYTHON"; do
    if [[ ! -x "$tool" ]]; then
        echo "render-images: $tool not found (install librsvg2-bin, imagemagick, python3)" >&2
        exit 1
    fi
done

tmp="$(mktemp -d)"
trap 'rm -rf "$tmp"' EXIT

# PAM (RGBA, 8 bit) -> XPM C source.
#   icon:   alpha below 50% becomes None; partly covered pixels that stay are
#           blended over a neutral grey so that they neither glow on a dark
#           panel nor smudge on a light one.
#   opaque: every pixel kept as it is; no None entry.
#   alert:  every pixel snapped to the fixed four-entry palette.
cat >"$tmp/toxpm.py" <<'PY'
import sys

def read_pam(path):
    data = open(path, 'rb').read()
    if not data.startswith(b'P7\n'):
        sys.exit('%s: not a PAM file' % path)
    head = {}
    pos = 3
    while True:
        end = data.index(b'\n', pos)
        line = data[pos:end].decode('ascii').strip()
        pos = end + 1
        if line == 'ENDHDR':
            break
        if line and not line.startswith('#'):
            key, _, value = line.partition(' ')
            head[key] = value.strip()
    w, h, depth = int(head['WIDTH']), int(head['HEIGHT']), int(head['DEPTH'])
    if int(head['MAXVAL']) != 255:
        sys.exit('%s: expected 8-bit samples' % path)
    raw = data[pos:pos + w * h * depth]
    px = []
    for i in range(w * h):
        s = raw[i * depth:(i + 1) * depth]
        if depth == 4:
            px.append((s[0], s[1], s[2], s[3]))
        elif depth == 3:
            px.append((s[0], s[1], s[2], 255))
        elif depth == 2:
            px.append((s[0], s[0], s[0], s[1]))
        else:
            px.append((s[0], s[0], s[0], 255))
    return w, h, px

NEUTRAL = (0x8c, 0x8c, 0x8c)
ALERT = [(None, ' '), ((0x00, 0x00, 0x00), '.'), ((0xff, 0xff, 0x00), '+'),
         ((0x80, 0x80, 0x80), '@')]
# Key characters: printable ASCII without '"' and '\' (string syntax) and '?'
# (so no "??x" trigraph can appear for an old compiler mode to trip over).
KEYS = ''.join(chr(c) for c in range(33, 127) if chr(c) not in '"\\?')

def quantize(cells, limit):
    """Reduce to at most `limit` colours: weighted median cut for a start,
    then a few k-means rounds. No dithering, so long gradients stay clean
    instead of turning grainy; with ~250 levels the steps are invisible."""
    counts = {}
    for c in cells:
        counts[c] = counts.get(c, 0) + 1
    colours = sorted(counts)
    if len(colours) <= limit:
        return cells

    def sse(box):
        n = sum(counts[c] for c in box)
        mean = [sum(c[k] * counts[c] for c in box) / n for k in range(3)]
        return sum(counts[c] * sum((c[k] - mean[k]) ** 2 for k in range(3)) for c in box)

    boxes = [(sse(colours), colours)]
    while len(boxes) < limit:
        boxes.sort(key=lambda b: b[0])
        err, box = boxes[-1]
        if err == 0:
            break
        boxes.pop()
        axis = max(range(3), key=lambda k: max(c[k] for c in box) - min(c[k] for c in box))
        box = sorted(box, key=lambda c: (c[axis], c))
        total = sum(counts[c] for c in box)
        run, cut = 0, 1
        for i, c in enumerate(box[:-1]):
            run += counts[c]
            cut = i + 1
            if run * 2 >= total:
                break
        for part in (box[:cut], box[cut:]):
            boxes.append((sse(part), part))

    def mean(group):
        n = sum(counts[c] for c in group)
        return tuple(sum(c[k] * counts[c] for c in group) / n for k in range(3))

    centres = sorted(mean(b) for _, b in boxes)
    for _ in range(8):
        groups = [[] for _ in centres]
        for c in colours:
            best = min(range(len(centres)),
                       key=lambda i: sum((c[k] - centres[i][k]) ** 2 for k in range(3)))
            groups[best].append(c)
        centres = sorted(mean(g) for g in groups if g)
    centres = [tuple(int(round(v)) for v in m) for m in centres]
    nearest = {c: min(centres, key=lambda m: sum((c[k] - m[k]) ** 2 for k in range(3)))
               for c in colours}
    return [nearest[c] for c in cells]

def hexcol(c):
    return None if c is None else '#%02X%02X%02X' % c

def main():
    pam, name, dest, mode = sys.argv[1:5]
    w, h, px = read_pam(pam)
    cells = []
    if mode == 'alert':
        for r, g, b, a in px:
            if a < 128:
                cells.append(None)
                continue
            best = min(ALERT[1:], key=lambda e: sum((x - y) ** 2 for x, y in zip(e[0], (r, g, b))))
            cells.append(best[0])
        palette = [c for c, _ in ALERT]
        keys = {c: k for c, k in ALERT}
        cpp = 1
    else:
        for r, g, b, a in px:
            if mode == 'opaque':
                if a != 255:
                    sys.exit('%s: transparent pixels in an opaque image' % name)
                cells.append((r, g, b))
            elif a < 128:
                cells.append(None)
            elif a == 255:
                cells.append((r, g, b))
            else:
                f = a / 255.0
                cells.append(tuple(int(round(c * f + n * (1 - f))) for c, n in zip((r, g, b), NEUTRAL)))
        if mode == 'opaque':
            cells = quantize(cells, 256)
        used = set(cells)
        palette = ([None] if None in used else []) + sorted(c for c in used if c is not None)
        if len(palette) > 256 and mode == 'opaque':
            sys.exit('%s: %d colours, reduce them first' % (name, len(palette)))
        # Two characters per pixel leave room for any palette up to 8,000 entries.
        cpp = 2
        if len(palette) > len(KEYS) ** 2:
            sys.exit('%s: too many colours' % name)
        keys = {}
        for i, c in enumerate(palette):
            keys[c] = '  ' if c is None else KEYS[i // len(KEYS)] + KEYS[i % len(KEYS)]
    lines = ['/* XPM */', 'static const char* const %s[] = {' % name,
             '"%d %d %d %d",' % (w, h, len(palette), cpp)]
    for c in palette:
        lines.append('"%s c %s",' % (keys[c], hexcol(c) or 'None'))
    for y in range(h):
        row = ''.join(keys[c] for c in cells[y * w:(y + 1) * w])
        lines.append('"%s"%s' % (row, ',' if y + 1 < h else ''))
    lines.append('};')
    with open(dest, 'w') as f:
        f.write('\n'.join(lines) + '\n')

main()
PY

# render <svg base name> <array name> <width> <height> <mode>
render() {
    local base="$1" array="$2" w="$3" h="$4" mode="$5"
    "$RSVG" --width="$w" --height="$h" --format=png \
        --output="$tmp/$base.png" "$src/$base.svg"
    "$CONVERT" "$tmp/$base.png" -alpha set \
        -depth 8 -define pam:tupletype=RGB_ALPHA "pam:$tmp/$base.pam"
    "$PYTHON" "$tmp/toxpm.py" "$tmp/$base.pam" "$array" "$out/$base.xpm" "$mode"
    echo "images/$base.xpm"
}

render tray_shield  tray_shield_xpm  22 22 icon
render tray_green   tray_green_xpm   22 22 icon
render tray_red     tray_red_xpm     22 22 icon
render tray_yellow  tray_yellow_xpm  22 22 icon
render tray_grey    tray_grey_xpm    22 22 icon
render window_icon  window_icon_xpm  32 32 icon
render alert_icon   alert_icon_xpm   32 32 alert
# The banner has no transparency; toxpm.py brings it down to 256 colours.
render banner       banner_xpm       100 387 opaque
