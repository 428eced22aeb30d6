#!/usr/bin/env python3
"""Makes the picture files that the tests of src/pictures read.

    make_fixtures.py FOLDER

Each picture shows the same four quarters (red, green / blue, yellow), 96 by 64 pixels, so that a test knows
its colors and which side is up. Pillow is not needed: ImageMagick's `convert` writes the formats, `cjpeg` the
JPEG in RGB, `exiftool` the orientation tags. This script writes the DNG, the color profile and the files with
false headers byte by byte.
"""
import os
import shutil
import struct
import subprocess
import sys
import zlib

WIDTH, HEIGHT = 96, 64
RED, GREEN, BLUE, YELLOW = (220, 30, 30), (30, 180, 40), (40, 60, 200), (240, 220, 60)


def quarter(x, y, width=WIDTH, height=HEIGHT):
    top, left = y < height // 2, x < width // 2
    return (RED if left else GREEN) if top else (BLUE if left else YELLOW)


def ppm(width=WIDTH, height=HEIGHT):
    pixels = bytearray()
    for y in range(height):
        for x in range(width):
            pixels += bytes(quarter(x, y, width, height))
    return b'P6 %d %d 255\n' % (width, height) + bytes(pixels)


def run(*words):
    subprocess.run(words, check=True, stdout=subprocess.DEVNULL, stderr=subprocess.PIPE)


def write(name, data):
    with open(name, 'wb') as file:
        file.write(data)


def read(name):
    with open(name, 'rb') as file:
        return file.read()


def profile(gray=False):
    """A color profile of version 2: matrix (unless for gray) and gamma 2.2, in the layout of ICC.1:2001-04."""
    def text(value):
        value = value.encode() + b'\0'
        return b'desc\0\0\0\0' + struct.pack('>I', len(value)) + value + bytes(4 + 4 + 2 + 1 + 67)

    def xyz(*values):
        return b'XYZ \0\0\0\0' + b''.join(struct.pack('>i', round(v * 65536)) for v in values)

    gamma = b'curv\0\0\0\0' + struct.pack('>IH', 1, round(2.2 * 256)) + b'\0\0'
    tags = [(b'desc', text('Moxtel test')), (b'cprt', b'text\0\0\0\0none\0\0\0\0'),
            (b'wtpt', xyz(0.9505, 1, 1.0891)), (b'rXYZ', xyz(0.4361, 0.2225, 0.0139)),
            (b'gXYZ', xyz(0.3851, 0.7169, 0.0971)), (b'bXYZ', xyz(0.1431, 0.0606, 0.7141)),
            (b'rTRC', gamma), (b'gTRC', gamma), (b'bTRC', gamma)]
    if gray:
        tags = tags[:3] + [(b'kTRC', gamma)]
    offset, table, data = 128 + 4 + 12 * len(tags), b'', b''
    for name, value in tags:
        value += bytes(-len(value) % 4)
        table += name + struct.pack('>II', offset + len(data), len(value))
        data += value
    size = offset + len(data)
    header = struct.pack('>I4sI4s4s4s', size, b'none', 0x02200000, b'mntr', b'GRAY' if gray else b'RGB ', b'XYZ ')
    header += struct.pack('>6H', 2026, 1, 1, 0, 0, 0) + b'acsp' + bytes(28)
    header += struct.pack('>3i', 63190, 65536, 54061)  # D50
    return header + bytes(128 - len(header)) + struct.pack('>I', len(tags)) + table + data


def tiff_entry(tag, kind, values):
    """One directory entry: tag, type and the packed bytes of its values."""
    size = {1: 1, 2: 1, 3: 2, 4: 4, 5: 8, 10: 8}[kind]
    return tag, kind, len(values) // size, values


def tiff(entries, strip):
    """A little-endian TIFF of one directory and one strip, whose offset is put in under tag 273."""
    entries = sorted(entries + [tiff_entry(273, 4, bytes(4))])
    start = 8 + 2 + 12 * len(entries) + 4
    extra = b''
    places = []
    for _, _, _, values in entries:
        places.append(start + len(extra))
        if len(values) > 4:
            extra += values + bytes(len(values) % 2)
    strip_at = start + len(extra)
    out = b'II*\0' + struct.pack('<IH', 8, len(entries))
    for (tag, kind, count, values), place in zip(entries, places):
        if tag == 273:
            values = struct.pack('<I', strip_at)
        field = values.ljust(4, b'\0') if len(values) <= 4 else struct.pack('<I', place)
        out += struct.pack('<HHI', tag, kind, count) + field
    return out + struct.pack('<I', 0) + extra + strip


def short(*values):
    return struct.pack('<%dH' % len(values), *values)


def long(*values):
    return struct.pack('<%dI' % len(values), *values)


def dng(orientation, more=()):
    """A RAW file: 16-bit red-green-green-blue sensor data of the four quarters, an orientation tag."""
    pixels = bytearray()
    for y in range(HEIGHT):
        for x in range(WIDTH):
            red, green, blue = quarter(x, y)
            value = (red if x % 2 == 0 else green) if y % 2 == 0 else (green if x % 2 == 0 else blue)
            pixels += short(round((value / 255) ** 2.2 * 65535))
    return raw_file(WIDTH, HEIGHT, bytes(pixels), orientation, more)


def raw_file(width, height, pixels, orientation=1, more=()):
    """A DNG of 16-bit red-green-green-blue sensor data."""
    matrix = [3.2406, -1.5372, -0.4986, -0.9689, 1.8758, 0.0415, 0.0557, -0.2040, 1.0570]
    rationals = b''.join(struct.pack('<ii', round(v * 10000), 10000) for v in matrix)
    entries = [tiff_entry(254, 4, long(0)), tiff_entry(256, 4, long(width)), tiff_entry(257, 4, long(height)),
               tiff_entry(258, 3, short(16)), tiff_entry(259, 3, short(1)), tiff_entry(262, 3, short(32803)),
               tiff_entry(271, 2, b'Moxtel\0'), tiff_entry(272, 2, b'Test Camera\0'),
               tiff_entry(274, 3, short(orientation)), tiff_entry(277, 3, short(1)),
               tiff_entry(278, 4, long(height)), tiff_entry(279, 4, long(len(pixels))),
               tiff_entry(284, 3, short(1)), tiff_entry(33421, 3, short(2, 2)),
               tiff_entry(33422, 1, bytes([0, 1, 1, 2])), tiff_entry(50706, 1, bytes([1, 4, 0, 0])),
               tiff_entry(50708, 2, b'Moxtel Test Camera\0'), tiff_entry(50717, 4, long(65535)),
               tiff_entry(50721, 10, rationals), tiff_entry(50728, 5, long(1, 1, 1, 1, 1, 1)),
               tiff_entry(50778, 3, short(21)), *more]
    return tiff(entries, pixels)


def dng_cut_to_nothing():
    """Its crop size is the smallest 32-bit number over -1, a quotient that does not fit into 32 bits."""
    return dng(1, [tiff_entry(50720, 10, struct.pack('<4i', -2**31, -1, -2**31, -1))])


def ciff_heap(records):
    """Canon's heap: the values one after the other, then the directory, then where it begins. A record is a tag
    and its bytes; eight bytes under a tag with bit 14 are in the directory itself."""
    data, directory = b'', b''
    for tag, value in records:
        if tag & 0x4000:
            directory += struct.pack('<H8s', tag, value)
        else:
            directory += struct.pack('<HII', tag, len(value), len(data))
            data += value + bytes(len(value) % 2)
    return data + struct.pack('<H', len(records)) + directory + struct.pack('<I', len(data))


def crw():
    """A file of Canon's cameras of 2001. The picture in it is no sensor's: only its records are meant."""
    settings = [0] * 48
    settings[0], settings[5], settings[7], settings[17], settings[20] = 96, 1, 4, 3, 1
    settings[23:28] = [672, 224, 32, 98, 192]  # lens 7 to 21 mm, f/2.89 to f/8
    shot = [0] * 34
    shot[0], shot[7], shot[15] = 68, 1, (-12) & 0xFFFF
    description = ciff_heap([(0x0805, b'High definition CCD image\0'),
                             (0x0815, b'CRW:High definition CCD image\0')])
    camera = ciff_heap([(0x080a, b'Canon\0Canon PowerShot G2\0'), (0x080b, b'Firmware Version 1.10\0'),
                        (0x0810, b'Moxtel\0')])
    shooting = ciff_heap([(0x1010 | 0x4000, short(0)), (0x1011 | 0x4000, short(1)),
                          (0x1806 | 0x4000, long(0)), (0x1814 | 0x4000, struct.pack('<f', 0.375))])
    exif = ciff_heap([(0x102a, short(*shot)), (0x102d, short(*settings)),
                      (0x1031, short(34, WIDTH, HEIGHT, 0, 0, 0, 0, WIDTH - 1, HEIGHT - 1, *[0] * 8)),
                      (0x1817 | 0x4000, long(1505082)), (0x1834 | 0x4000, long(0x1110000))])
    image = ciff_heap([(0x0805, b'a comment\0'), (0x0816, b'CRW_5082.CRW\0'), (0x1804 | 0x4000, long(0)),
                       (0x1810, struct.pack('<IIfiIII', WIDTH, HEIGHT, 1, 0, 10, 10, 1)),
                       (0x180e, long(994252984, 0, 0)),
                       (0x2804, description), (0x2807, camera), (0x3002, shooting), (0x300b, exif)])
    head = b'II' + long(26) + b'HEAPCCDR' + struct.pack('<HHII', 2, 1, 0, 0)
    return head + ciff_heap([(0x2005, bytes(WIDTH * HEIGHT * 2)), (0x300a, image)])


def directory(entries, offset):
    """A directory of a little-endian TIFF structure and the values of its entries, as they lie at an offset."""
    start = offset + 2 + 12 * len(entries) + 4
    out, values = struct.pack('<H', len(entries)), b''
    for tag, kind, data in sorted(entries):
        size = {1: 1, 2: 1, 3: 2, 4: 4, 5: 8, 7: 1}[kind]
        field = data.ljust(4, b'\0') if len(data) <= 4 else long(start + len(values))
        out += struct.pack('<HHI', tag, kind, len(data) // size) + field
        values += data + bytes(len(data) % 2) if len(data) > 4 else b''
    return out + long(0) + values


def camera_exif(make, model, note):
    """Exif with a maker's note, which is made for the offset that it lies at."""
    main = [(271, 2, make + b'\0'), (272, 2, model + b'\0'), (34665, 4, long(0))]
    exif_at = 8 + len(directory(main, 8))
    main[-1] = (34665, 4, long(exif_at))
    metering = (0x9207, 3, short(5))
    # The note's length does not depend on its place, and it is the directory's only value outside of it.
    note_at = exif_at + 2 + 12 * 2 + 4
    exif = directory([metering, (0x927C, 7, note(note_at))], exif_at)
    return b'II*\0' + long(8) + directory(main, 8) + exif


def canon_note(offset):
    settings = [0] * 48
    settings[0], settings[5], settings[20] = 96, 1, 1
    settings[23:28] = [30500, 6100, 1000, 96, 192]
    shot = [0] * 34
    shot[0], shot[7], shot[15] = 68, 2, (-20) & 0xFFFF
    return directory([(1, 3, short(*settings)), (4, 3, short(*shot)), (7, 2, b'Firmware Version 1.04\0'),
                      (8, 4, long(1002345)), (9, 2, b'Moxtel\0'), (12, 4, long(620500001)),
                      (16, 4, long(0x2490000)), (0x95, 2, b'\0')], offset)


def nikon_note(_):
    """A maker note with its own offsets."""
    entries = [(2, 3, short(0, 1600)), (3, 2, b'COLOR\0'), (4, 2, b'FINE   \0'), (5, 2, b'AUTO        \0'),
               (7, 2, b'AF-S  \0'), (0x83, 1, b'\6'), (0x84, 5, long(24, 1, 120, 1, 4, 1, 4, 1)),
               (0x1D, 2, b'6001440\0'), (0xA7, 4, long(8834))]
    return b'Nikon\0\2\x10\0\0' + b'II*\0' + long(8) + directory(entries, 8)


def with_exif(jpeg, exif):
    """The same JPEG with Exif instead of JFIF."""
    head = b'Exif\0\0' + exif
    (length,) = struct.unpack('>H', jpeg[4:6])
    return jpeg[:2] + b'\xff\xe1' + struct.pack('>H', len(head) + 2) + head + jpeg[4 + length:]


# What a camera, a cataloguing program and a person have written into a photo.
CAMERA_TAGS = [
    '-IFD0:Make=FUJIFILM', '-IFD0:Model=X-T1', '-IFD0:Orientation#=6', '-IFD0:XResolution=300', '-IFD0:YResolution=300',
    '-IFD0:ResolutionUnit#=2', '-IFD0:Software=Moxtel 1.4', '-IFD0:ModifyDate=2019:07:08 06:53:48',
    '-IFD0:Artist=Jürgen', '-IFD0:Copyright=', '-IFD0:ImageDescription=Wedding tulips',
    '-ExifIFD:ExposureTime=1/60', '-ExifIFD:FNumber=5.6', '-ExifIFD:ISO=400', '-ExifIFD:ExifVersion=0231',
    '-ExifIFD:DateTimeOriginal=2019:07:04 16:24:01', '-ExifIFD:CreateDate=2019:07:04 16:24:02',
    '-ExifIFD:OffsetTimeOriginal=+02:00', '-ExifIFD:SubSecTimeOriginal=08', '-ExifIFD:Flash#=16',
    '-ExifIFD:FocalLength=20.5', '-ExifIFD:FocalLengthIn35mmFormat=31', '-ExifIFD:ColorSpace#=1',
    '-ExifIFD:LensModel=XF18-55mmF2.8-4 R LM OIS', '-ExifIFD:ExposureCompensation#=0', '-ExifIFD:UserComment=a walk',
    '-GPS:GPSLatitudeRef=S', '-GPS:GPSLatitude=34.5', '-GPS:GPSLongitudeRef=E', '-GPS:GPSLongitude=138.25',
    '-GPS:GPSAltitudeRef#=1', '-GPS:GPSAltitude=2.6', '-GPS:GPSTimeStamp=09:02:18', '-GPS:GPSDateStamp=2017:01:16',
    '-IPTC:ObjectName=cut', '-IPTC:City=Ulm', '-IPTC:TimeCreated=16:24:01+02:00', '-IPTC:Keywords=Kids',
    '-XMP-dc:Subject=Katie', '-XMP-dc:Subject=Suzy', '-XMP-dc:Title=Tulips at a flower shop', '-XMP-xmp:Rating=0',
    '-XMP-aux:Lens=XF18-55', '-XMP-aux:LensInfo=18 55 2.8 4', '-XMP-aux:SerialNumber=77']


def gray_scan(make):
    """An ordinary gray TIFF that names a camera, as a film scan does."""
    pixels = bytes(sum(quarter(x, y)) // 3 for y in range(HEIGHT) for x in range(WIDTH))
    entries = [tiff_entry(256, 4, long(WIDTH)), tiff_entry(257, 4, long(HEIGHT)), tiff_entry(258, 3, short(8)),
               tiff_entry(259, 3, short(1)), tiff_entry(262, 3, short(1)), tiff_entry(271, 2, make + b'\0'),
               tiff_entry(272, 2, b'Coolscan\0'), tiff_entry(277, 3, short(1)),
               tiff_entry(278, 4, long(HEIGHT)), tiff_entry(279, 4, long(len(pixels)))]
    return tiff(entries, pixels)


def float_tiff():
    """32-bit reals of linear light, no profile."""
    def light(v):
        v /= 255
        return v / 12.92 if v <= 0.04045 else ((v + 0.055) / 1.055) ** 2.4
    pixels = b''.join(struct.pack('<3f', *(light(v) for v in quarter(x, y)))
                      for y in range(HEIGHT) for x in range(WIDTH))
    entries = [tiff_entry(256, 4, long(WIDTH)), tiff_entry(257, 4, long(HEIGHT)),
               tiff_entry(258, 3, short(32, 32, 32)), tiff_entry(259, 3, short(1)),
               tiff_entry(262, 3, short(2)), tiff_entry(277, 3, short(3)), tiff_entry(278, 4, long(HEIGHT)),
               tiff_entry(279, 4, long(len(pixels))), tiff_entry(339, 3, short(3, 3, 3))]
    return tiff(entries, pixels)


def png_chunk(kind, data):
    return struct.pack('>I', len(data)) + kind + data + struct.pack('>I', zlib.crc32(kind + data))


def png(width, height, rows, depth=1, colors=0):
    header = struct.pack('>IIBBBBB', width, height, depth, colors, 0, 0, 0)
    return (b'\x89PNG\r\n\x1a\n' + png_chunk(b'IHDR', header) +
            png_chunk(b'IDAT', zlib.compress(rows, 9)) + png_chunk(b'IEND', b''))


def segments(jpeg):
    """The offset of every start-of-scan marker, and of the end marker."""
    places, at = [], 2
    while at < len(jpeg) - 1:
        marker = jpeg[at + 1]
        if marker == 0xD9:
            return places, at
        length = struct.unpack('>H', jpeg[at + 2:at + 4])[0]
        if marker == 0xDA:
            places.append(at)
            at += 2 + length
            while not (jpeg[at] == 0xFF and jpeg[at + 1] not in (0, *range(0xD0, 0xD8))):
                at += 1
        else:
            at += 2 + length
    return places, at


def with_size(jpeg, width, height):
    """The same JPEG, whose frame header claims another size."""
    at = 2
    while jpeg[at + 1] not in (0xC0, 0xC1, 0xC2):
        at += 2 + struct.unpack('>H', jpeg[at + 2:at + 4])[0]
    return jpeg[:at + 5] + struct.pack('>HH', height, width) + jpeg[at + 9:]


def many_scans(jpeg, count):
    """A progressive JPEG whose last scan comes again and again."""
    scans, end = segments(jpeg)
    return jpeg[:end] + jpeg[scans[-1]:end] * count + jpeg[end:]


def flat_progressive(width, height):
    """A whole progressive JPEG, all gray: every block's only scan is the two bits of the shortest code."""
    def segment(marker, data):
        return bytes((0xFF, marker)) + struct.pack('>H', 2 + len(data)) + data

    frame = struct.pack('>BHHB', 8, height, width, 3) + b''.join(bytes((c, 0x11, 0)) for c in (1, 2, 3))
    codes = b'\0' + bytes((0, 1)) + bytes(14) + b'\0'  # one code of two bits, which says: no difference
    scan = b'\3' + b''.join(bytes((c, 0)) for c in (1, 2, 3)) + bytes((0, 0, 0))
    blocks = -(-width // 8) * -(-height // 8) * 3
    return (b'\xff\xd8' + segment(0xDB, b'\0' + b'\1' * 64) + segment(0xC2, frame) + segment(0xC4, codes) +
            segment(0xDA, scan) + bytes(-(-blocks * 2 // 8)) + b'\xff\xd9')


def make_jpegs():
    convert = ['convert', 'base.ppm', '-quality', '95']
    for name, factors in (('420', '2x2,1x1,1x1'), ('422', '2x1,1x1,1x1'), ('440', '1x2,1x1,1x1'),
                          ('444', '1x1,1x1,1x1'), ('411', '4x1,1x1,1x1')):
        run(*convert, '-sampling-factor', factors, f'jpeg-{name}.jpg')
    write('scans.txt', b'0;1;2;')  # each plane in a separate scan
    run('cjpeg', '-quality', '95', '-sample', '2x2,2x2,2x2', '-scans', 'scans.txt', '-outfile',
        'jpeg-twelve-blocks.jpg', 'base.ppm')
    run(*convert, '-interlace', 'JPEG', 'jpeg-progressive.jpg')
    run(*convert, '-colorspace', 'Gray', 'jpeg-gray.jpg')
    run(*convert, '-colorspace', 'CMYK', 'jpeg-cmyk.jpg')
    run('cjpeg', '-rgb', '-quality', '95', '-outfile', 'jpeg-rgb.jpg', 'base.ppm')
    run('cjpeg', '-arithmetic', '-quality', '95', '-outfile', 'jpeg-arithmetic.jpg', 'base.ppm')
    run('cjpeg', '-quality', '95', '-restart', '1', '-outfile', 'jpeg-restarts.jpg', 'base.ppm')
    run(*convert, '-profile', 'test.icc', 'jpeg-profile.jpg')
    run(*convert, '-resize', '95x61!', 'jpeg-odd-size.jpg')
    run(*convert, '-resize', '1x1!', 'jpeg-one-pixel.jpg')
    for orientation in range(1, 9):
        name = f'jpeg-orientation-{orientation}.jpg'
        run(*convert, name)
        run('exiftool', '-q', '-overwrite_original', f'-Orientation#={orientation}', name)
    for name, make, model, note in (('canon', b'Canon', b'Canon PowerShot G10', canon_note),
                                    ('nikon', b'NIKON CORPORATION', b'NIKON D800E', nikon_note)):
        write(f'jpeg-{name}-note.jpg', with_exif(read('jpeg-420.jpg'), camera_exif(make, model, note)))
    write('jpeg-without-end.jpg', read('jpeg-420.jpg')[:-2])
    write('broken-jpeg-half.jpg', read('jpeg-444.jpg')[:len(read('jpeg-444.jpg')) * 3 // 4])
    write('bomb-jpeg-size.jpg', with_size(read('jpeg-420.jpg'), 65500, 65500))
    write('bomb-jpeg-cut.jpg', with_size(read('jpeg-420.jpg'), 9000, 9000))
    write('bomb-jpeg-progressive.jpg', with_size(read('jpeg-progressive.jpg'), 65500, 65500))
    write('jpeg-progressive-flat.jpg', flat_progressive(WIDTH, HEIGHT))
    write('bomb-jpeg-coefficients.jpg', flat_progressive(12000, 12000))
    write('bomb-jpeg-scans.jpg', many_scans(read('jpeg-progressive.jpg'), 5000))


def make_pngs():
    for name, options in (
            ('rgb', ['PNG24:']), ('rgb16', ['-depth', '16', 'PNG48:']),
            ('palette', ['-type', 'Palette', 'PNG8:']), ('interlaced', ['-interlace', 'PNG', 'PNG24:']),
            ('interlaced16', ['-interlace', 'PNG', '-depth', '16', 'PNG48:'])):
        run('convert', 'base.ppm', *options[:-1], f'{options[-1]}png-{name}.png')
    for bits in (1, 2, 4, 8, 16):
        run('convert', 'base.ppm', '-colorspace', 'Gray', '-define', 'png:color-type=0', '-define',
            f'png:bit-depth={bits}', '-depth', str(bits), f'png-gray{bits}.png')
    run('convert', 'base.ppm', '-alpha', 'set', '-region', '48x32+48+0', '-channel', 'A', '-evaluate', 'set',
        '0', '+channel', 'PNG32:png-alpha.png')
    run('convert', 'png-alpha.png', '-depth', '16', 'PNG64:png-alpha16.png')
    run('convert', 'png-alpha.png', '-colorspace', 'Gray', '-define', 'png:color-type=4', 'png-gray-alpha.png')
    run('convert', 'base.ppm', '-profile', 'test.icc', 'PNG24:png-profile.png')
    rows = b''.join(b'\0' + bytes(c for x in range(WIDTH) for c in quarter(x, y)) for y in range(HEIGHT))
    write('png-plain.png', png(WIDTH, HEIGHT, rows, depth=8, colors=2))
    write('bomb-png-size.png', png(100000, 100000, bytes(100000)))
    write('bomb-png-long.png', png(1000000, 400, bytes(125001 * 400)))


def make_tiffs():
    for name, options in (
            ('plain', ['-compress', 'none']), ('lzw', ['-compress', 'lzw']), ('zip', ['-compress', 'zip']),
            ('jpeg', ['-compress', 'jpeg', '-quality', '95']), ('big-endian', ['-endian', 'MSB']),
            ('rgb16', ['-depth', '16']), ('zip16', ['-depth', '16', '-compress', 'zip']),
            ('cmyk', ['-colorspace', 'CMYK']), ('cmyk16', ['-colorspace', 'CMYK', '-depth', '16']),
            ('lab', ['-colorspace', 'Lab']),
            ('gray', ['-colorspace', 'Gray']), ('gray16', ['-colorspace', 'Gray', '-depth', '16']),
            ('palette', ['-type', 'Palette']), ('tiled', ['-define', 'tiff:tile-geometry=32x32']),
            ('profile', ['-profile', 'test.icc'])):
        run('convert', 'base.ppm', *options, f'tiff-{name}.tif')
    run('convert', 'png-alpha.png', 'tiff-alpha.tif')
    run('convert', 'base.ppm', '-orient', 'right-top', 'tiff-orientation-6.tif')
    shutil.copy('tiff-gray16.tif', 'tiff-scan-of-16-bits.tif')
    run('exiftool', '-q', '-overwrite_original', '-Make=Canon', 'tiff-scan-of-16-bits.tif')
    write('tiff-float.tif', float_tiff())
    write('tiff-scan-of-a-camera-maker.tif', gray_scan(b'Nikon'))
    write('bomb-tiff-size.tif', tiff([
        tiff_entry(256, 4, long(100000)), tiff_entry(257, 4, long(100000)), tiff_entry(258, 3, short(8)),
        tiff_entry(259, 3, short(5)), tiff_entry(262, 3, short(1)), tiff_entry(277, 3, short(1)),
        tiff_entry(278, 4, long(100000)), tiff_entry(279, 4, long(16))], bytes(16)))


def flat_psd(mode, depth, planes, packed=False, palette=b''):
    """A PSD without layers; the planes are lists of rows."""
    rows = [row for plane in planes for row in plane]
    if packed:
        rows = [packed_row(row) for row in rows]
    lengths = b''.join(struct.pack('>H', len(row)) for row in rows) if packed else b''
    resources = b'8BIM' + struct.pack('>HHI', 0x03ED, 0, 16) + struct.pack('>IHHIHH', 300 << 16, 1, 1, 300 << 16, 1, 1)
    return (b'8BPS' + struct.pack('>H6xHIIHH', 1, len(planes), HEIGHT, WIDTH, depth, mode) +
            struct.pack('>I', len(palette)) + palette + struct.pack('>I', len(resources)) + resources +
            struct.pack('>I', 0) + struct.pack('>H', int(packed)) + lengths + b''.join(rows))


def lab(color):
    """L*, a* and b* as PSDs have them in bytes, under D50 (IEC 61966-2-1 adapted as in ICC.1, annex E)."""
    light = [c / 255 / 12.92 if c <= 10 else ((c / 255 + 0.055) / 1.055) ** 2.4 for c in color]
    x, y, z = (sum(share * part for share, part in zip(row, light)) for row in
               ((0.4361, 0.3851, 0.1431), (0.2225, 0.7169, 0.0606), (0.0139, 0.0971, 0.7141)))
    x, y, z = (t ** (1 / 3) if t > 0.008856 else 7.787 * t + 16 / 116 for t in (x / 0.9642, y, z / 0.8249))
    return round((116 * y - 16) * 2.55), round(500 * (x - y)) + 128, round(200 * (y - z)) + 128


def psd_of_lab():
    return flat_psd(9, 8, [[bytes(lab(quarter(x, y))[c] for x in range(WIDTH)) for y in range(HEIGHT)]
                           for c in range(3)])


def psd_with_palette():
    colors = [BLUE, GREEN, YELLOW, RED] + [(1, 2, 3)] * 252
    rows = [bytes(colors.index(quarter(x, y)) for x in range(WIDTH)) for y in range(HEIGHT)]
    return flat_psd(2, 8, [rows], True, bytes(color[c] for c in range(3) for color in colors))


def psd_of_inks(depth, packed):
    """A PSD of the same inks as ImageMagick writes it, with one more channel after them."""
    def inks(x, y):
        red, green, blue = quarter(x, y)
        most = max(red, green, blue)
        return [255 * (most - part) // most for part in (red, green, blue)] + [255 - most, 7]

    planes = [[bytes(255 - inks(x, y)[ink] for x in range(WIDTH) for _ in range(depth // 8)) for y in range(HEIGHT)]
              for ink in range(5)]
    return flat_psd(4, depth, planes, packed)


def with_resource(psd, number, data):
    """A PSD without color table, with one more image resource."""
    length = struct.unpack('>I', psd[30:34])[0]
    more = b'8BIM' + struct.pack('>HHI', number, 0, len(data)) + data + bytes(len(data) % 2)
    return psd[:30] + struct.pack('>I', length + len(more)) + more + psd[34:]


def packed_row(row):
    """PackBits with runs, literals and the no-op byte."""
    half = len(row) // 2
    literal = bytes([half - 1]) + row[:half]
    return literal + b'\x80' + bytes([257 - half]) + row[half:half + 1]


def box(kind, data):
    return struct.pack('>I', 8 + len(data)) + kind + data


def full_box(kind, data, version=0, flags=0):
    return box(kind, struct.pack('>I', version << 24 | flags) + data)


def inner_box(data, kind):
    """The first box of the type, complete, at any depth."""
    at = data.index(kind) - 4
    return data[at:at + struct.unpack('>I', data[at:at + 4])[0]]


def grid_tiles(columns, rows, width, height):
    """The picture in tiles, the last column beyond its right side: (configuration, coded pictures)."""
    tiles = []
    for at in range(columns * rows):
        x, y = at % columns * width, at // columns * height
        run('convert', 'base.ppm', '-virtual-pixel', 'Edge', '-set', 'option:distort:viewport',
            f'{width}x{height}+{x}+{y}', '-filter', 'Point', '-distort', 'SRT', '0', '+repage', '-quality', '95',
            'tile.heic')
        tiles.append(read('tile.heic'))
    os.remove('tile.heic')
    configurations = {inner_box(tile, b'hvcC') for tile in tiles}
    assert len(configurations) == 1
    return configurations.pop(), [inner_box(tile, b'mdat')[8:] for tile in tiles]


def heic_grid(configuration, tiles, size=(WIDTH, HEIGHT), stated=(WIDTH, HEIGHT), missing=0):
    """A HEIC of 2 by 2 tiles that its container turns, as phones write it (ISO/IEC 23008-12, 6.6.2.3)."""
    grid = len(tiles) + 1
    infos = [full_box(b'infe', struct.pack('>HH', item, 0) + b'hvc1\0', 2, 1) for item in range(1, grid)]
    infos.append(full_box(b'infe', struct.pack('>HH', grid, 0) + b'grid\0', 2))
    tile_ids = [item + missing for item in range(1, grid)]
    reference = box(b'dimg', struct.pack(f'>HH{len(tiles)}H', grid, len(tiles), *tile_ids))
    properties = (configuration + full_box(b'ispe', struct.pack('>II', 64, 32)) +
                  full_box(b'ispe', struct.pack('>II', *stated)) + box(b'irot', b'\3'))
    links = b''.join(struct.pack('>HBBB', item, 2, 0x81, 2) for item in range(1, grid))
    links += struct.pack('>HBBB', grid, 2, 3, 0x84)
    grid_data = struct.pack('>BBBBII', 0, 1, 1, 1, *size)  # 32 bits for the size

    def meta(start):
        places, at = b'', start
        for item, data in enumerate(tiles, 1):
            places += struct.pack('>HHHHII', item, 0, 0, 1, at, len(data))
            at += len(data)
        places += struct.pack('>HHHHII', grid, 1, 0, 1, 0, len(grid_data))  # in idat
        return full_box(b'meta', full_box(b'hdlr', bytes(4) + b'pict' + bytes(13)) +
                        full_box(b'pitm', struct.pack('>H', grid)) +
                        full_box(b'iloc', b'\x44\0' + struct.pack('>H', grid) + places, 1) +
                        full_box(b'iinf', struct.pack('>H', grid) + b''.join(infos)) +
                        full_box(b'iref', reference) +
                        box(b'iprp', box(b'ipco', properties) + full_box(b'ipma', struct.pack('>I', grid) + links)) +
                        box(b'idat', grid_data))

    head = box(b'ftyp', b'heic\0\0\0\0mif1heic')
    start = len(head) + len(meta(0)) + 8
    return head + meta(start) + box(b'mdat', b''.join(tiles))


def make_grids():
    configuration, tiles = grid_tiles(2, 2, 64, 32)
    write('heic-grid.heic', heic_grid(configuration, tiles))
    write('broken-heic-grid-tiles.heic', heic_grid(configuration, tiles, missing=7))
    write('bomb-heic-grid.heic', heic_grid(configuration, tiles, size=(100000, 100000), stated=(100000, 100000)))
    write('bomb-heic-grid-lie.heic', heic_grid(configuration, tiles, size=(30000, 30000)))


def make_others():
    run('convert', 'base.ppm', 'gif.gif')
    run('convert', 'base.ppm', '-interlace', 'GIF', 'gif-interlaced.gif')
    run('convert', '-delay', '10', 'base.ppm', '(', 'base.ppm', '-negate', ')', 'gif-animated.gif')
    run('convert', 'png-alpha.png', 'gif-transparent.gif')
    run('convert', 'base.ppm', 'BMP3:bmp-24.bmp')
    run('convert', 'base.ppm', '-type', 'Palette', '-compress', 'none', 'BMP3:bmp-palette.bmp')
    run('convert', 'base.ppm', '-type', 'Palette', '-compress', 'RLE', 'BMP3:bmp-rle.bmp')
    run('convert', 'base.ppm', 'psd-rgb.psd')
    run('convert', 'base.ppm', '-depth', '16', 'psd-rgb16.psd')
    run('convert', 'base.ppm', '-colorspace', 'CMYK', 'psd-cmyk.psd')
    for depth, packed in ((8, False), (8, True), (16, False), (16, True)):
        name = f'psd-cmyk{depth}-{"packed" if packed else "plain"}.psd'
        write(name, psd_of_inks(depth, packed))
        write(f'broken-{name}', read(name)[:len(read(name)) // 2])
    write('psd-lab.psd', psd_of_lab())
    write('psd-palette.psd', psd_with_palette())
    ink_bomb = bytearray(read('psd-cmyk8-packed.psd'))
    ink_bomb[14:22] = struct.pack('>II', 20000, 20000)
    write('bomb-psd-inks.psd', bytes(ink_bomb))
    run('convert', 'base.ppm', '-colorspace', 'Gray', 'psd-gray.psd')
    write('psd-gray-profile.psd', with_resource(read('psd-gray.psd'), 0x040F, profile(gray=True)))
    run('convert', 'base.ppm', '(', '-size', '96x64', 'xc:white', ')', 'psd-layers.psd')
    run('convert', 'base.ppm', '-quality', '95', 'heic.heic')
    run('convert', 'base.ppm', '-quality', '90', 'jpeg2000.jp2')
    run('convert', 'base.ppm', '-colorspace', 'Gray', 'jpeg2000-gray.jp2')
    run('convert', 'base.ppm', '-depth', '12', 'jpeg2000-12-bits.jp2')
    run('convert', 'base.ppm', '-quality', '90', 'jpeg2000-stream.j2k')
    run('convert', 'base.ppm', '-quality', '95', 'webp.webp')
    run('convert', 'base.ppm', '-define', 'webp:lossless=true', 'webp-lossless.webp')
    run('convert', 'png-alpha.png', '-define', 'webp:lossless=true', 'webp-alpha.webp')
    for orientation in (1, 6):
        write(f'raw-orientation-{orientation}.dng', dng(orientation))
    write('raw-cut-to-nothing.dng', dng_cut_to_nothing())
    write('raw-canon.crw', crw())
    for source in ('jpeg-444.jpg', 'tiff-plain.tif', 'png-plain.png', 'heic.heic'):
        stem, ending = source.replace('-', '.').split('.')[0], source.rsplit('.', 1)[1]
        shutil.copy(source, f'{stem}-camera.{ending}')
        run('exiftool', '-q', '-q', '-m', '-overwrite_original', *CAMERA_TAGS, f'{stem}-camera.{ending}')
    gif = bytearray(read('gif.gif'))
    gif[6:10] = b'\xff\xff\xff\xff'
    frame = gif.index(b'\x2c\0\0\0\0')
    gif[frame + 5:frame + 9] = b'\xff\xff\xff\xff'
    write('bomb-gif-size.gif', bytes(gif))
    psd = bytearray(read('psd-rgb.psd'))
    psd[14:22] = struct.pack('>II', 30000, 30000)
    write('bomb-psd-size.psd', bytes(psd))
    bmp = bytearray(read('bmp-24.bmp'))
    bmp[18:26] = struct.pack('<ii', 100000, 100000)
    write('bomb-bmp-size.bmp', bytes(bmp))
    jp2 = bytearray(read('jpeg2000-stream.j2k'))
    jp2[8:16] = struct.pack('>II', 100000, 100000)  # the size in SIZ, and that of its tiles
    jp2[24:32] = struct.pack('>II', 100000, 100000)
    write('bomb-jpeg2000-size.j2k', bytes(jp2))


def make_broken():
    for name in ('png-rgb.png', 'png-interlaced.png', 'tiff-plain.tif', 'tiff-lzw.tif', 'gif.gif',
                 'bmp-24.bmp', 'psd-rgb.psd', 'heic.heic', 'jpeg2000.jp2', 'webp.webp',
                 'raw-orientation-1.dng'):
        data = read(name)
        stem, ending = name.rsplit('.', 1)
        write(f'broken-{stem}.{ending}', data[:len(data) * 3 // 10])
        write(f'broken-{stem}-head.{ending}', data[:40])
    write('no-picture.txt', b'BM is how this text begins, which is no picture.\n')
    write('no-picture-empty.jpg', b'')
    write('no-picture-movie.mov', struct.pack('>I', 20) + b'ftypqt  ' + bytes(1000))


def main():
    os.makedirs(sys.argv[1], exist_ok=True)
    os.chdir(sys.argv[1])
    write('base.ppm', ppm())
    write('test.icc', profile())
    make_jpegs()
    make_pngs()
    make_tiffs()
    make_others()
    make_grids()
    make_broken()


if __name__ == '__main__':
    main()
