#!/usr/bin/env python3
"""Compares the properties of picture files with those that ExifTool, an independent reader, reports.

    properties_against_exiftool.py PROPERTY_DUMP FIXTURES

Adds metadata of each kind to copies of the fixtures and compares each property for which ExifTool has a tag.
Prints the differences; the exit status is 1 if there are any. Ignores intended differences: the rounding of
coordinates (compared to within a meter), ExifTool's own dates and its texts with character sets.
"""
import json
import math
import pathlib
import plistlib
import shutil
import subprocess
import sys
import tempfile

ENDINGS = ('.jpg', '.png', '.tif', '.gif', '.psd', '.heic', '.webp', '.bmp', '.jp2', '.dng', '.crw')
TAGS = ['-Make=Canon', '-Model=Model of a camera', '-Software=Something 1.0', '-Artist=J. Müller',
        '-Copyright=© nobody', '-ImageDescription=What is on it', '-ModifyDate=2019:07:08 06:53:48',
        '-HostComputer=host', '-ExposureTime=1/60', '-FNumber=2.2', '-ExposureProgram#=2', '-ISO=400',
        '-ExifVersion=0231', '-DateTimeOriginal=2019:07:04 16:24:01', '-CreateDate=2019:07:04 16:24:02',
        '-OffsetTimeOriginal=+02:00', '-ShutterSpeedValue=1/60', '-ApertureValue=3.6', '-BrightnessValue=-1.25',
        '-ExposureCompensation=-0.333', '-MaxApertureValue=2.8', '-SubjectDistance=2.99', '-MeteringMode#=5',
        '-LightSource#=9', '-Flash#=16', '-FocalLength=20.5', '-SubSecTimeOriginal=08', '-ColorSpace#=1',
        '-FocalPlaneXResolution=204.84', '-SensingMethod#=2', '-ExposureMode#=1', '-WhiteBalance#=1',
        '-DigitalZoomRatio=0', '-FocalLengthIn35mmFormat=31', '-SceneCaptureType#=2', '-GainControl#=1',
        '-Contrast#=1', '-Saturation#=2', '-Sharpness#=1', '-SubjectDistanceRange#=2', '-ImageUniqueID=ab12',
        '-OwnerName=owner', '-SerialNumber=0042', '-LensMake=Lens maker', '-LensModel=Lens 18-55',
        '-LensInfo=18 55 2.8 4', '-GPSLatitude=51.503571', '-GPSLatitudeRef=N', '-GPSLongitude=7.1318',
        '-GPSLongitudeRef=W', '-GPSAltitude=102.5', '-GPSAltitudeRef#=0', '-GPSImgDirection=302.4',
        '-GPSImgDirectionRef=T', '-GPSSpeed=1.6', '-GPSSpeedRef=K', '-GPSDateStamp=2017:01:16',
        '-GPSTimeStamp=09:02:18', '-GPSMapDatum=WGS-84', '-XMP-dc:Subject=one', '-XMP-dc:Subject=zwölf',
        '-XMP-dc:Title=A title', '-XMP-photoshop:Headline=Head', '-XMP-photoshop:City=Köln', '-XMP-xmp:Rating=4',
        '-XMP-aux:Lens=An auxiliary lens', '-XMP-aux:SerialNumber=77']

# property: tag with its group. The value of the first is compared with ExifTool's, unconverted.
COMPARED = {
    'PixelWidth': 'File:ImageWidth', 'PixelHeight': 'File:ImageHeight', 'Orientation': 'IFD0:Orientation',
    **{'{TIFF}/' + k: 'IFD0:' + k for k in ('Make', 'Model', 'Software', 'Artist', 'Copyright', 'ImageDescription',
                                            'HostComputer', 'Orientation', 'XResolution', 'YResolution',
                                            'ResolutionUnit', 'Compression', 'PhotometricInterpretation',
                                            'TileWidth', 'TileLength')},
    '{TIFF}/DateTime': 'IFD0:ModifyDate',
    **{'{Exif}/' + k: 'ExifIFD:' + k for k in (
        'ExposureTime', 'FNumber', 'ExposureProgram', 'DateTimeOriginal', 'OffsetTimeOriginal', 'BrightnessValue',
        'SubjectDistance', 'MeteringMode', 'LightSource', 'Flash', 'FocalLength', 'ColorSpace',
        'FocalPlaneXResolution', 'SensingMethod', 'ExposureMode', 'WhiteBalance', 'DigitalZoomRatio',
        'SceneCaptureType', 'GainControl', 'Contrast', 'Saturation', 'Sharpness', 'ImageUniqueID', 'LensMake',
        'LensModel')},
    '{Exif}/DateTimeDigitized': 'ExifIFD:CreateDate', '{Exif}/ISOSpeedRatings/0': 'ExifIFD:ISO',
    '{Exif}/ExposureBiasValue': 'ExifIFD:ExposureCompensation', '{Exif}/SubjectDistRange': 'ExifIFD:SubjectDistanceRange',
    '{Exif}/SubsecTimeOriginal': 'ExifIFD:SubSecTimeOriginal', '{Exif}/BodySerialNumber': 'ExifIFD:SerialNumber',
    '{Exif}/FocalLenIn35mmFilm': 'ExifIFD:FocalLengthIn35mmFormat', '{Exif}/CameraOwnerName': 'ExifIFD:OwnerName',
    '{Exif}/PixelXDimension': 'ExifIFD:ExifImageWidth', '{Exif}/PixelYDimension': 'ExifIFD:ExifImageHeight',
    **{'{GPS}/' + k: 'GPS:GPS' + k for k in ('LatitudeRef', 'LongitudeRef', 'Altitude', 'AltitudeRef', 'ImgDirection',
                                             'ImgDirectionRef', 'Speed', 'SpeedRef', 'DateStamp', 'TimeStamp',
                                             'MapDatum')},
    '{GPS}/Latitude': 'GPS:GPSLatitude', '{GPS}/Longitude': 'GPS:GPSLongitude',
    '{IPTC}/Keywords': 'XMP-dc:Subject', '{IPTC}/ObjectName': 'XMP-dc:Title', '{IPTC}/Headline': 'XMP-photoshop:Headline',
    '{IPTC}/City': 'XMP-photoshop:City', '{IPTC}/StarRating': 'XMP-xmp:Rating',
    '{ExifAux}/LensModel': 'XMP-aux:Lens', '{ExifAux}/SerialNumber': 'XMP-aux:SerialNumber',
    '{JFIF}/XDensity': 'JFIF:XResolution', '{JFIF}/YDensity': 'JFIF:YResolution', '{JFIF}/DensityUnit': 'JFIF:ResolutionUnit',
    '{PNG}/Gamma': None, '{PNG}/InterlaceType': 'PNG:Interlace', '{PNG}/sRGBIntent': 'PNG:SRGBRendering',
    'ProfileName': 'ICC_Profile:ProfileDescription',
    '{GPS}/ProcessingMethod': 'GPS:GPSProcessingMethod',
    **{'{DNG}/' + k: 'IFD0:' + k for k in ('UniqueCameraModel', 'CalibrationIlluminant1')},
    **{'{MakerCanon}/' + k: 'Canon:' + v for k, v in {
        'Firmware': 'CanonFirmwareVersion', 'ImageSerialNumber': 'FileNumber', 'OwnerName': 'OwnerName',
        'CameraSerialNumber': 'SerialNumber', 'UniqueModelID': 'CanonModelID', 'ContinuousDrive': 'ContinuousDrive',
        'MaxAperture': 'MaxAperture', 'MinAperture': 'MinAperture', 'WhiteBalanceIndex': 'WhiteBalance',
        'FlashExposureComp': 'FlashExposureComp'}.items()},
    '{ExifAux}/LensInfo/0': 'Canon:MinFocalLength', '{ExifAux}/LensInfo/1': 'Canon:MaxFocalLength',
    **{'{MakerNikon}/' + k: 'Nikon:' + v for k, v in {
        'ColorMode': 'ColorMode', 'LensType': 'LensType', 'CameraSerialNumber': 'SerialNumber',
        'ShutterCount': 'ShutterCount'}.items()},
    **{'{CIFF}/' + k: 'CanonRaw:' + v for k, v in {
        'Description': 'CanonFileDescription', 'Firmware': 'CanonFirmwareVersion', 'OwnerName': 'OwnerName',
        'ImageName': 'CanonImageType', 'ImageFileName': 'OriginalFileName', 'ReleaseMethod': 'ShutterReleaseMethod',
        'ReleaseTiming': 'ShutterReleaseTiming', 'RecordID': 'RecordID', 'ImageSerialNumber': 'FileNumber',
        'UniqueModelID': 'CanonModelID'}.items()},
    **{'{CIFF}/' + k: 'Canon:' + v for k, v in {
        'ContinuousDrive': 'ContinuousDrive', 'FocusMode': 'FocusMode', 'MeteringMode': 'MeteringMode',
        'LensMaxMM': 'MaxFocalLength', 'LensMinMM': 'MinFocalLength', 'MaxAperture': 'MaxAperture',
        'MinAperture': 'MinAperture', 'WhiteBalanceIndex': 'WhiteBalance',
        'FlashExposureComp': 'FlashExposureComp'}.items()},
}
# Groups that the platform does not report for these files.
WITHOUT = {'.jpg': ('{CIFF}',), '.heic': ('{IPTC}', '{ExifAux}'), '.dng': ('{IPTC}',), '.crw': ('{IPTC}', '{ExifAux}', '{MakerCanon}'), '.gif': ('{IPTC}', '{ExifAux}'), '.bmp': (), '.jp2': ()}


def unfolded(archive):
    objects = archive['$objects']

    def value(item):
        item = objects[item.data] if isinstance(item, plistlib.UID) else item
        if isinstance(item, dict) and 'NS.keys' in item:
            return {value(k): value(v) for k, v in zip(item['NS.keys'], item['NS.objects'])}
        if isinstance(item, dict) and 'NS.objects' in item:
            return [value(v) for v in item['NS.objects']]
        return item
    return value(archive['$top']['root'])


def at(properties, path):
    """The value under a path of keys; a '/' may also belong to a key."""
    value = properties
    for key in path.split('/'):
        if isinstance(value, dict):
            value = value.get(key)
        elif isinstance(value, list):
            value = value[int(key)]
        else:
            return None
    return value


def is_same(path, ours, theirs):
    if isinstance(ours, list) or isinstance(theirs, list):
        ours, theirs = ([v] if not isinstance(v, list) else v for v in (ours, theirs))
        return [str(v) for v in ours] == [str(v) for v in theirs]
    if isinstance(ours, (int, float)) and not isinstance(ours, bool):
        # ExifTool prints up to ten digits of a quotient.
        tolerance = 1e-5 if path in ('{GPS}/Latitude', '{GPS}/Longitude') else 1e-9
        return math.isclose(ours, float(theirs), rel_tol=1e-9 if tolerance == 1e-9 else 0, abs_tol=tolerance)
    return str(ours) == str(theirs)


def differences(name, properties, said):
    suffix = pathlib.Path(name).suffix
    compared, wrong = 0, []
    for path, tag in COMPARED.items():
        theirs = said.get(tag) if tag else None
        if theirs is None and path in ('PixelWidth', 'PixelHeight'):
            theirs = next((said[g + ':' + tag[5:]] for g in ('PNG', 'IFD0', 'GIF', 'Photoshop', 'Meta', 'RIFF', 'Jpeg2000', 'CanonRaw')
                           if g + ':' + tag[5:] in said), None)
        ours = at(properties, path)
        if theirs is None or path.split('/')[0] in WITHOUT.get(suffix, ()):
            continue
        compared += 1
        if ours is None or not is_same(path, ours, theirs):
            wrong.append(f'{name}: {path} is {ours!r}, ExifTool says {theirs!r} of {tag}')
    return compared, wrong


def copies(fixtures, folder):
    """The fixtures unchanged, and with all the tags; without the deliberately broken files."""
    chosen = [p for p in sorted(fixtures.iterdir())
              if p.suffix in ENDINGS and not p.name.startswith(('broken', 'bomb', 'no-picture'))]
    for path in chosen:
        shutil.copy(path, folder / path.name)
    tagged = []
    for path in chosen:
        # A maker note is valid only with its own maker's name.
        if path.suffix in ('.gif', '.bmp') or 'nikon-note' in path.name:
            continue
        copy = folder / ('tagged-' + path.name)
        shutil.copy(path, copy)
        tagged.append(str(copy))
    # ExifTool warns about formats that cannot contain some of the tags.
    subprocess.run(['exiftool', '-q', '-q', '-m', '-overwrite_original', *TAGS, *tagged], check=False,
                   stderr=subprocess.DEVNULL)
    return sorted(str(p) for p in folder.iterdir())


def main():
    dump, fixtures = sys.argv[1], pathlib.Path(sys.argv[2])
    with tempfile.TemporaryDirectory() as name:
        files = copies(fixtures, pathlib.Path(name))
        seen = unfolded(plistlib.loads(subprocess.run([dump, *files], check=True, stdout=subprocess.PIPE).stdout))
        said = json.loads(subprocess.run(['exiftool', '-j', '-n', '-G1', *files], check=True,
                                         stdout=subprocess.PIPE).stdout)
    compared, wrong = 0, []
    for facts in said:
        path = facts['SourceFile']
        if path not in seen:
            wrong.append(f'{pathlib.Path(path).name}: no properties')
            continue
        count, found = differences(pathlib.Path(path).name, seen[path], facts)
        compared += count
        wrong += found
    print('\n'.join(wrong))
    print(f'{len(files)} files, {compared} values compared, {len(wrong)} differences')
    # Fewer would mean that the comparison itself is incomplete.
    return 1 if wrong or compared < 2000 else 0


if __name__ == '__main__':
    sys.exit(main())
