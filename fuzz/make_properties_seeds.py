#!/usr/bin/env python3
"""Writes the seeds of PropertiesFuzz: one small file for each reader, after the number of the reader.

    make_properties_seeds.py FIXTURES CORPUS     FIXTURES is the folder that tests/pictures/make_fixtures.py writes

Writes the seeds of FlatPsdFuzz and JpegFuzz, which have no number, into the folders of these names beside CORPUS.
"""
import pathlib
import struct
import subprocess
import sys
import tempfile

TAGS = ['-Make=Canon', '-Orientation#=6', '-ExposureTime=1/60', '-ISO=400', '-UserComment=a walk', '-XResolution=72',
        '-DateTimeOriginal=2019:07:04 16:24:01', '-GPSLatitude=14.4', '-GPSLatitudeRef=N', '-XMP-dc:Subject=a',
        '-IPTC:Keywords=x', '-XMP-aux:LensInfo=24 105 0 0', '-XMP-photoshop:DateCreated=2011:05:25 09:22:07+12:00',
        '-RegionType=Face', '-RegionAreaX=0.5', '-Title=hut']

JPEGS = ('411', '420', '440', 'arithmetic', 'cmyk', 'gray', 'odd-size', 'one-pixel', 'profile', 'progressive',
         'progressive-flat', 'restarts', 'rgb', 'twelve-blocks', 'without-end')


def tagged(path):
    """The file with every kind of metadata; a JPEG without the pixels that follow the metadata."""
    with tempfile.TemporaryDirectory() as folder:
        copy = pathlib.Path(folder) / path.name
        copy.write_bytes(path.read_bytes())
        subprocess.run(['exiftool', '-q', '-overwrite_original', '-P', *TAGS, str(copy)], check=True)
        data = copy.read_bytes()
    if path.suffix == '.jpg':
        data = data[:data.index(b'\xff\xda') + 4]
    return data


def flat_psd(mode, channels, width, height, depth, compression, data, palette=b''):
    return (b'8BPS' + struct.pack('>H6xHIIHH', 1, channels, height, width, depth, mode) +
            struct.pack('>I', len(palette)) + palette + bytes(8) + struct.pack('>H', compression) + data)


def uneven_jpeg(file):
    """24 by 8 pixels, with chroma planes two thirds as wide as the luma plane."""
    frame = file.index(b'\xff\xc0')
    changed = bytearray(file)
    changed[frame + 5:frame + 9] = struct.pack('>HH', 8, 24)
    for component, factors in enumerate((0x31, 0x21, 0x21)):
        changed[frame + 11 + 3 * component] = factors
    return changed


def main():
    fixtures, corpus = map(pathlib.Path, sys.argv[1:])
    corpus.mkdir(parents=True, exist_ok=True)
    icc = (fixtures / 'test.icc').read_bytes()
    note = (b'Apple iOS\0\0\1MM' + struct.pack('>HHHIiHHII', 2, 1, 9, 1, 14, 8, 10, 2, 44) + bytes(4) +
            struct.pack('>iiii', 1, 3, -1, 4))
    plist = (b'bplist00\xd1\1\2\x55epoch\x511' + bytes([8, 11, 17]) + bytes(6) + b'\1\1' +
             struct.pack('>QQQ', 3, 0, 19))
    iim = b'\x1c\1\x5a\0\3\x1b%G\x1c\2\x19\0\3one\x1c\2\x37\0\x0820190704'
    seeds = {'jpeg': (1, tagged(fixtures / 'jpeg-profile.jpg')), 'png': (2, tagged(fixtures / 'png-profile.png')),
             'gif': (3, (fixtures / 'gif-transparent.gif').read_bytes()),
             'psd': (4, tagged(fixtures / 'psd-rgb.psd')[:6000]),
             'heif': (5, tagged(fixtures / 'heic-turned.heic')), 'webp': (6, tagged(fixtures / 'webp-alpha.webp')),
             'bmp': (7, (fixtures / 'bmp-24.bmp').read_bytes()[:64]),
             'jpeg2000': (8, (fixtures / 'jpeg2000.jp2').read_bytes()[:200]),
             'tiff': (9, (fixtures / 'tiff-profile.tif').read_bytes()[-1200:]),
             'tiff-small': (9, b'II*\0' + struct.pack('<IHHHIIHHIII', 8, 2, 256, 3, 1, 9, 257, 4, 1, 7, 0)),
             'icc': (10, icc), 'iim': (11, iim),
             'resources': (12, b'8BIM\4\4\0\0' + struct.pack('>I', len(iim)) + iim),
             'ciff': (0, (fixtures / 'raw-canon.crw').read_bytes()),
             'canon': (1, tagged(fixtures / 'jpeg-canon-note.jpg')), 'nikon': (1, tagged(fixtures / 'jpeg-nikon-note.jpg')),
             'png-packet': (2, tagged(fixtures / 'png-camera.png')), 'apple': (13, note), 'plist': (14, plist)}
    xmp = tagged(fixtures / 'jpeg-444.jpg')
    seeds['xmp'] = (15, xmp[xmp.index(b'<x:xmpmeta'):xmp.index(b'</x:xmpmeta>') + 12])
    seeds['psd-layers'] = (4, tagged(fixtures / 'psd-layers.psd')[:12000])
    seeds['psd-inks'] = (4, (fixtures / 'psd-cmyk8-packed.psd').read_bytes()[:200])
    for name, (number, data) in seeds.items():
        (corpus / name).write_bytes(bytes([number]) + data)
    flat = corpus.parent / 'FlatPsdFuzz'
    flat.mkdir(exist_ok=True)
    (flat / 'plain').write_bytes(flat_psd(4, 4, 2, 2, 16, 0, bytes(range(32))))
    rows = b'\xf9\x40' * 7 + b'\x03abcd\x80\xfdz'
    lengths = struct.pack('>8H', *[2] * 7, 8)
    (flat / 'packed').write_bytes(flat_psd(4, 4, 8, 2, 8, 1, lengths + rows))
    (flat / 'lab').write_bytes(flat_psd(9, 3, 2, 2, 8, 0, bytes(range(12))))
    (flat / 'palette').write_bytes(flat_psd(2, 1, 2, 2, 8, 0, bytes(4), bytes(range(256)) * 3))
    jpegs = corpus.parent / 'JpegFuzz'
    jpegs.mkdir(exist_ok=True)
    for name in JPEGS:
        (jpegs / name).write_bytes((fixtures / ('jpeg-%s.jpg' % name)).read_bytes())
    (jpegs / 'uneven-planes').write_bytes(uneven_jpeg((fixtures / 'jpeg-444.jpg').read_bytes()))


if __name__ == '__main__':
    main()
