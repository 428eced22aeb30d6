"""The expected replies to "Metadata of Photo" for the fixtures of tests/pictures/make_fixtures.py.

Derived from what that script writes into each file, and from what ExifTool reads of the values that ImageMagick adds
(white points, primaries, gamma); never from this server's replies. 1, 1.0 and True differ.
"""
import math
import struct


def form(model="RGB", depth=8, width=96, height=64, **more):
    return {"PixelWidth": width, "PixelHeight": height, "Depth": depth, "ColorModel": model, **more}


def single(number):
    """The value in single precision."""
    return struct.unpack("<f", struct.pack("<f", number))[0]


PROFILE = "Moxtel test"
STANDARD = "sRGB IEC61966-2.1"
JFIF = {"JFIFVersion": [1, 0, 1], "DensityUnit": 0, "XDensity": 1, "YDensity": 1}
# The primaries of sRGB, by five decimals in PNG and as single-precision quotients in TIFF.
PRIMARIES = [0.3127, 0.329, 0.64, 0.33, 0.3, 0.6000000000000001, 0.15, 0.06]
PNG_GRAY = {"InterlaceType": 0, "Gamma": 0.45455}
PNG_COLOR = {**PNG_GRAY, "Chromaticities": PRIMARIES}
TIFF_WHITE = {"WhitePoint": [single(n) for n in PRIMARIES[:2]],
              "PrimaryChromaticities": [single(n) for n in PRIMARIES[2:]]}


def jpegs():
    for name in ("411", "420", "422", "440", "444", "arithmetic", "restarts", "twelve-blocks", "without-end"):
        yield name, form(**{"{JFIF}": JFIF})
    yield "gray", form("Gray", **{"{JFIF}": JFIF})
    yield "cmyk", form("CMYK")
    yield "rgb", form()
    yield "progressive", form(**{"{JFIF}": {**JFIF, "IsProgressive": True}})
    yield "profile", form(ProfileName=PROFILE, **{"{JFIF}": JFIF})
    yield "odd-size", form(width=95, height=61, **{"{JFIF}": JFIF})
    yield "one-pixel", form(width=1, height=1, **{"{JFIF}": JFIF})
    for orientation in range(1, 9):
        # The script's tool adds a resolution; its unit 1 means no unit.
        tiff = {"Orientation": orientation, "XResolution": 1.0, "YResolution": 1.0, "ResolutionUnit": 1}
        yield "orientation-%d" % orientation, form(Orientation=orientation, **{"{JFIF}": JFIF, "{TIFF}": tiff})


def pngs():
    for bits in (1, 2, 4, 8, 16):
        yield "gray%d" % bits, form("Gray", bits, **{"{PNG}": PNG_GRAY})
    yield "gray-alpha", form("Gray", HasAlpha=True, **{"{PNG}": PNG_GRAY})
    for depth, name in ((8, ""), (16, "16")):
        yield "rgb" + name, form(depth=depth, **{"{PNG}": PNG_COLOR})
        yield "alpha" + name, form(depth=depth, HasAlpha=True, **{"{PNG}": PNG_COLOR})
        yield "interlaced" + name, form(depth=depth, **{"{PNG}": {**PNG_COLOR, "InterlaceType": 1}})
    yield "palette", form(IsIndexed=True, **{"{PNG}": PNG_COLOR})
    yield "profile", form(ProfileName=PROFILE, **{"{PNG}": {"InterlaceType": 0, "Chromaticities": PRIMARIES}})
    yield "plain", form(**{"{PNG}": {"InterlaceType": 0}})


def tiffs():
    def tiff(compression=1, photometric=2, orientation=1, **more):
        white = {} if photometric == 1 else TIFF_WHITE
        return {"Compression": compression, "PhotometricInterpretation": photometric, "Orientation": orientation,
                **white, **more}

    def whole(group, *words, **more):
        return form(*words, Orientation=group["Orientation"], **more, **{"{TIFF}": group})

    for name in ("plain", "big-endian"):
        yield name, whole(tiff())
    yield "lzw", whole(tiff(5))
    yield "jpeg", whole(tiff(7))
    yield "zip", whole(tiff(8))
    yield "rgb16", whole(tiff(), "RGB", 16)
    yield "zip16", whole(tiff(8), "RGB", 16)
    yield "cmyk", whole(tiff(photometric=5), "CMYK")
    yield "cmyk16", whole(tiff(photometric=5), "CMYK", 16)
    yield "lab", whole(tiff(photometric=8), "Lab")
    yield "gray", whole(tiff(photometric=1), "Gray")
    yield "gray16", whole(tiff(photometric=1), "Gray", 16)
    yield "palette", whole(tiff(photometric=3), "RGB", 2, IsIndexed=True)  # four colors
    yield "tiled", whole(tiff(TileWidth=32, TileLength=32))
    yield "profile", whole(tiff(), ProfileName=PROFILE)
    yield "alpha", whole(tiff(8), HasAlpha=True)
    yield "orientation-6", whole(tiff(orientation=6))
    yield "scan-of-16-bits", whole(tiff(photometric=1, Make="Canon"), "Gray", 16)
    yield "scan-of-a-camera-maker", form("Gray", **{"{TIFF}": {
        "Compression": 1, "PhotometricInterpretation": 1, "Make": "Nikon", "Model": "Coolscan"}})
    yield "float", form(depth=32, IsFloat=True, **{"{TIFF}": {"Compression": 1, "PhotometricInterpretation": 2}})


def others():
    # ImageMagick writes a control block (21 F9 04) without a delay into single pictures, too.
    for name in ("gif", "gif-interlaced"):
        yield name + ".gif", form(**{"{GIF}": {"DelayTime": 0.1, "UnclampedDelayTime": 0.0}})
    yield "gif-animated.gif", form(**{"{GIF}": {"DelayTime": 0.1, "UnclampedDelayTime": 0.1}})
    yield "gif-transparent.gif", form(HasAlpha=True, **{"{GIF}": {"DelayTime": 0.1, "UnclampedDelayTime": 0.0}})
    for name in ("24", "rle", "palette"):
        yield "bmp-%s.bmp" % name, form()
    for name, model, depth in (("rgb", "RGB", 8), ("rgb16", "RGB", 16), ("cmyk", "CMYK", 8), ("gray", "Gray", 8),
                               ("layers", "RGB", 8)):
        yield "psd-%s.psd" % name, form(model, depth, **{"{8BIM}": {"Version": 1, "LayerNames": ["L1"]}})
    yield "heic.heic", form(PrimaryImage=1)
    # The pixels are stored upright; the container rotates them.
    yield "heic-turned.heic", form(width=64, height=96, PrimaryImage=1, ProfileName=PROFILE)
    yield "jpeg2000.jp2", form()
    yield "jpeg2000-stream.j2k", form()
    yield "jpeg2000-gray.jp2", form("Gray")
    yield "webp.webp", form()
    yield "webp-lossless.webp", form()
    yield "webp-alpha.webp", form(HasAlpha=True)
    yield "raw-canon.crw", form(depth=16, Orientation=1, ProfileName="Display P3", **{
        "{TIFF}": {"Make": "Canon", "Model": "Canon PowerShot G2", "Orientation": 1},
        # APEX values of 0: an exposure time of 1 s and f/1.
        "{Exif}": {"DateTimeOriginal": "2001:07:04 13:23:04", "ExposureProgram": 2, "ExposureTime": 1.0, "FNumber": 1.0,
                   "PixelXDimension": 96, "PixelYDimension": 64},
        "{CIFF}": {"Description": "High definition CCD image", "Firmware": "Firmware Version 1.10", "OwnerName": "Moxtel",
                   "ImageName": "CRW:High definition CCD image", "ImageFileName": "CRW_5082.CRW", "ReleaseMethod": 0,
                   "ReleaseTiming": 1, "RecordID": 0, "SelfTimingTime": 0, "ImageSerialNumber": 1505082,
                   "UniqueModelID": 0x1110000, "ContinuousDrive": 1, "FocusMode": 4, "MeteringMode": 3,
                   "LensMaxMM": 21.0, "LensMinMM": 7.0, "MaxAperture": 2 ** (98 / 64), "MinAperture": 8.0,
                   "WhiteBalanceIndex": 1, "FlashExposureComp": -1 / 3, "MeasuredEV": 0.375}})
    matrix = [3.2406, -1.5372, -0.4986, -0.9689, 1.8758, 0.0415, 0.0557, -0.2040, 1.0570]
    for orientation in (1, 6):
        yield "raw-orientation-%d.dng" % orientation, form(
            depth=16, Orientation=orientation, ProfileName="Display P3", **{
                "{TIFF}": {"Compression": 1, "PhotometricInterpretation": 32803, "Make": "Moxtel",
                           "Model": "Test Camera", "Orientation": orientation},
                "{DNG}": {"DNGVersion": [1, 4], "UniqueCameraModel": "Moxtel Test Camera", "WhiteLevel": [65535],
                          "ColorMatrix1": [single(n) for n in matrix], "AsShotNeutral": [1.0, 1.0, 1.0],
                          "CalibrationIlluminant1": 21}})


def camera_groups():
    tiff = {"ImageDescription": "Wedding tulips", "Make": "FUJIFILM", "Model": "X-T1", "Orientation": 6,
            "XResolution": 300.0, "YResolution": 300.0, "ResolutionUnit": 2, "Software": "Moxtel 1.4",
            "DateTime": "2019:07:08 06:53:48", "Artist": "Jürgen"}
    exif = {"ExposureTime": 1 / 60, "FNumber": 5.6, "ISOSpeedRatings": [400], "ExifVersion": [2, 3, 1],
            "DateTimeOriginal": "2019:07:04 16:24:01", "DateTimeDigitized": "2019:07:04 16:24:02",
            "OffsetTimeOriginal": "+02:00", "ComponentsConfiguration": [1, 2, 3, 0], "ExposureBiasValue": 0.0,
            "Flash": 16, "FocalLength": 20.5, "UserComment": "a walk", "SubsecTimeOriginal": "08",
            "FlashPixVersion": [1, 0], "ColorSpace": 1, "FocalLenIn35mmFilm": 31,
            "LensModel": "XF18-55mmF2.8-4 R LM OIS"}
    gps = {"GPSVersion": [2, 3, 0, 0], "LatitudeRef": "S", "Latitude": 34.5, "LongitudeRef": "E", "Longitude": 138.25,
           "AltitudeRef": 1, "Altitude": 2.6, "TimeStamp": "09:02:18", "DateStamp": "2017:01:16"}
    # Precedence for each key: XMP, then the IPTC block, then Exif.
    iptc = {"Keywords": ["Katie", "Suzy"], "ObjectName": "Tulips at a flower shop", "StarRating": 0, "City": "Ulm",
            "DateCreated": "20190704", "TimeCreated": "162401+0200", "DigitalCreationDate": "20190704",
            "DigitalCreationTime": "162402", "Byline": ["Jürgen"], "Caption/Abstract": "Wedding tulips"}
    aux = {"LensModel": "XF18-55", "LensInfo": [18.0, 55.0, 2.8, 4.0], "SerialNumber": "77"}
    return tiff, exif, gps, iptc, aux


def cameras():
    tiff, exif, gps, iptc, aux = camera_groups()
    whole = form(Orientation=6, DPIWidth=300.0, DPIHeight=300.0, ProfileName=STANDARD,
                 **{"{TIFF}": tiff, "{Exif}": exif, "{GPS}": gps})
    yield "jpeg-camera.jpg", {**whole, "{IPTC}": iptc, "{ExifAux}": aux, "{JFIF}": JFIF}
    yield "tiff-camera.tif", {**whole, "{IPTC}": iptc, "{ExifAux}": aux,
                              "{TIFF}": {**tiff, "Compression": 1, "PhotometricInterpretation": 2, **TIFF_WHITE}}
    # PNG cannot contain an IPTC block, which holds the city and the time zone.
    packet = {**iptc, "TimeCreated": "162401"}
    del packet["City"]
    yield "png-camera.png", {**whole, "{IPTC}": packet, "{ExifAux}": aux, "{PNG}": {"InterlaceType": 0}}
    yield "heic-camera.heic", {**whole, "PrimaryImage": 1}  # whose XMP the platform does not show
    yield "jpeg-canon-note.jpg", form(**{
        "{TIFF}": {"Make": "Canon", "Model": "Canon PowerShot G10"},
        "{Exif}": {"MeteringMode": 5, "ExposureProgram": 2},
        "{ExifAux}": {"Firmware": "Firmware Version 1.04", "LensModel": "6.1-30.5 mm",
                      "LensInfo": [6.1, 30.5, 0.0, 0.0]},
        "{MakerCanon}": {"Firmware": "Firmware Version 1.04", "ImageSerialNumber": 1002345, "OwnerName": "Moxtel",
                         "CameraSerialNumber": 620500001, "UniqueModelID": 0x2490000, "LensModel": "",
                         "ContinuousDrive": 1, "MaxAperture": math.sqrt(8), "MinAperture": 8.0,
                         "WhiteBalanceIndex": 2, "FlashExposureComp": -2 / 3}})
    yield "jpeg-nikon-note.jpg", form(**{
        "{TIFF}": {"Make": "NIKON CORPORATION", "Model": "NIKON D800E"}, "{Exif}": {"MeteringMode": 5},
        "{MakerNikon}": {"ISOSetting": [0, 1600], "ColorMode": "COLOR", "Quality": "FINE   ",
                         "WhiteBalanceMode": "AUTO        ", "FocusMode": "AF-S  ", "LensType": 6,
                         "LensInfo": [24.0, 120.0, 4.0, 4.0], "CameraSerialNumber": "6001440", "ShutterCount": 8834}})


GOLDEN = {**{"jpeg-%s.jpg" % name: wanted for name, wanted in jpegs()},
          **{"png-%s.png" % name: wanted for name, wanted in pngs()},
          **{"tiff-%s.tif" % name: wanted for name, wanted in tiffs()}, **dict(others()), **dict(cameras())}

# Files with wrong sizes in their headers. The headers are reported; nothing is decompressed.
CLAIMED = {"bomb-jpeg-size.jpg": (65500, 65500), "bomb-jpeg-cut.jpg": (9000, 9000), "bomb-jpeg-scans.jpg": (96, 64),
           "bomb-jpeg-progressive.jpg": (65500, 65500), "bomb-png-size.png": (100000, 100000),
           "bomb-png-long.png": (1000000, 400), "bomb-tiff-size.tif": (100000, 100000),
           "bomb-gif-size.gif": (65535, 65535), "bomb-psd-size.psd": (30000, 30000),
           "bomb-bmp-size.bmp": (100000, 100000), "bomb-jpeg2000-size.j2k": (100000, 100000),
           # Truncated after the headers, which contain all reported properties.
           "broken-jpeg-half.jpg": (96, 64), "broken-png-rgb-head.png": (96, 64),
           "broken-png-interlaced-head.png": (96, 64), "broken-gif-head.gif": (96, 64),
           "broken-bmp-24-head.bmp": (96, 64), "broken-psd-rgb-head.psd": (96, 64), "broken-webp-head.webp": (96, 64)}

# Truncated before any property, or not pictures.
SILENT = ("broken-tiff-plain-head.tif", "broken-tiff-lzw-head.tif", "broken-heic-head.heic", "broken-jpeg2000-head.jp2",
          "broken-raw-orientation-1-head.dng", "broken-heic.heic", "no-picture.txt", "no-picture-empty.jpg",
          "no-picture-movie.mov")


def difference(wanted, seen, path=""):
    """Where two values differ, or None. Number types must match; reals may differ by the file's rounding."""
    if type(wanted) in (dict, list) and isinstance(seen, type(wanted)):
        if len(wanted) != len(seen) or isinstance(wanted, dict) and set(wanted) != set(seen):
            return "%s is %r instead of %r" % (path or "it", seen, wanted)
        keys = wanted if isinstance(wanted, dict) else range(len(wanted))
        return next(filter(None, (difference(wanted[k], seen[k], "%s/%s" % (path, k)) for k in keys)), None)
    same = type(wanted) is type(seen) and (wanted == seen or
                                           type(wanted) is float and math.isclose(wanted, seen, rel_tol=1e-9))
    return None if same else "%s is %r instead of %r" % (path, seen, wanted)
