// The keys of the groups that come from Exif directories, by tag (TIFF 6.0, Exif 2.32). Other tags give no
// property.
#pragma once

#include <algorithm>
#include <cstdint>
#include <span>

namespace moxtel::properties {

enum class ExifForm : std::uint8_t {
  Integer,
  Integers,
  Real,  // a quotient, not rounded
  Reals,
  Text,             // up to the first NUL, otherwise unchanged
  Comment,          // a text after eight bytes that name its character set
  Version,          // "0230" as 2, 3
  Coordinate,       // degrees, minutes, seconds as degrees
  TrimmedIntegers,  // without the zeros at the end
  SingleReal,       // kept in single precision
  SingleReals,
  Numbers,  // integers or reals as they are stored
  Data,
  TimeOfDay,  // hours, minutes, seconds as "HH:MM:SS"
};

struct ExifKey {
  std::uint16_t tag;
  const char* key;
  ExifForm form;
};

inline constexpr ExifKey kTiffKeys[] = {
    {0x0103, "Compression", ExifForm::Integer},
    {0x0106, "PhotometricInterpretation", ExifForm::Integer},
    {0x010D, "DocumentName", ExifForm::Text},
    {0x010E, "ImageDescription", ExifForm::Text},
    {0x010F, "Make", ExifForm::Text},
    {0x0110, "Model", ExifForm::Text},
    {0x0112, "Orientation", ExifForm::Integer},
    {0x011A, "XResolution", ExifForm::Real},
    {0x011B, "YResolution", ExifForm::Real},
    {0x011E, "XPosition", ExifForm::Real},
    {0x011F, "YPosition", ExifForm::Real},
    {0x0128, "ResolutionUnit", ExifForm::Integer},
    {0x012D, "TransferFunction", ExifForm::Integers},
    {0x0131, "Software", ExifForm::Text},
    {0x0132, "DateTime", ExifForm::Text},
    {0x013B, "Artist", ExifForm::Text},
    {0x013C, "HostComputer", ExifForm::Text},
    {0x013E, "WhitePoint", ExifForm::Reals},
    {0x013F, "PrimaryChromaticities", ExifForm::Reals},
    {0x0142, "TileWidth", ExifForm::Integer},
    {0x0143, "TileLength", ExifForm::Integer},
    {0x8298, "Copyright", ExifForm::Text},
};

inline constexpr ExifKey kExifKeys[] = {
    {0x829A, "ExposureTime", ExifForm::Real},
    {0x829D, "FNumber", ExifForm::Real},
    {0x8822, "ExposureProgram", ExifForm::Integer},
    {0x8824, "SpectralSensitivity", ExifForm::Text},
    {0x8827, "ISOSpeedRatings", ExifForm::Integers},
    {0x8830, "SensitivityType", ExifForm::Integer},
    {0x8831, "StandardOutputSensitivity", ExifForm::Integer},
    {0x8832, "RecommendedExposureIndex", ExifForm::Integer},
    {0x8833, "ISOSpeed", ExifForm::Integer},
    {0x8834, "ISOSpeedLatitudeyyy", ExifForm::Integer},
    {0x8835, "ISOSpeedLatitudezzz", ExifForm::Integer},
    {0x9000, "ExifVersion", ExifForm::Version},
    {0x9003, "DateTimeOriginal", ExifForm::Text},
    {0x9004, "DateTimeDigitized", ExifForm::Text},
    {0x9010, "OffsetTime", ExifForm::Text},
    {0x9011, "OffsetTimeOriginal", ExifForm::Text},
    {0x9012, "OffsetTimeDigitized", ExifForm::Text},
    {0x9101, "ComponentsConfiguration", ExifForm::Integers},
    {0x9102, "CompressedBitsPerPixel", ExifForm::Real},
    {0x9201, "ShutterSpeedValue", ExifForm::Real},
    {0x9202, "ApertureValue", ExifForm::Real},
    {0x9203, "BrightnessValue", ExifForm::Real},
    {0x9204, "ExposureBiasValue", ExifForm::Real},
    {0x9205, "MaxApertureValue", ExifForm::Real},
    {0x9206, "SubjectDistance", ExifForm::Real},
    {0x9207, "MeteringMode", ExifForm::Integer},
    {0x9208, "LightSource", ExifForm::Integer},
    {0x9209, "Flash", ExifForm::Integer},
    {0x920A, "FocalLength", ExifForm::Real},
    {0x9214, "SubjectArea", ExifForm::Integers},
    {0x9286, "UserComment", ExifForm::Comment},
    {0x9290, "SubsecTime", ExifForm::Text},
    {0x9291, "SubsecTimeOriginal", ExifForm::Text},
    {0x9292, "SubsecTimeDigitized", ExifForm::Text},
    {0xA000, "FlashPixVersion", ExifForm::Version},
    {0xA001, "ColorSpace", ExifForm::Integer},
    {0xA002, "PixelXDimension", ExifForm::Integer},
    {0xA003, "PixelYDimension", ExifForm::Integer},
    {0xA004, "RelatedSoundFile", ExifForm::Text},
    {0xA20B, "FlashEnergy", ExifForm::Real},
    {0xA20E, "FocalPlaneXResolution", ExifForm::Real},
    {0xA20F, "FocalPlaneYResolution", ExifForm::Real},
    {0xA210, "FocalPlaneResolutionUnit", ExifForm::Integer},
    {0xA214, "SubjectLocation", ExifForm::Integers},
    {0xA215, "ExposureIndex", ExifForm::Real},
    {0xA217, "SensingMethod", ExifForm::Integer},
    {0xA300, "FileSource", ExifForm::Integer},
    {0xA301, "SceneType", ExifForm::Integer},
    {0xA401, "CustomRendered", ExifForm::Integer},
    {0xA402, "ExposureMode", ExifForm::Integer},
    {0xA403, "WhiteBalance", ExifForm::Integer},
    {0xA404, "DigitalZoomRatio", ExifForm::Real},
    {0xA405, "FocalLenIn35mmFilm", ExifForm::Integer},
    {0xA406, "SceneCaptureType", ExifForm::Integer},
    {0xA407, "GainControl", ExifForm::Integer},
    {0xA408, "Contrast", ExifForm::Integer},
    {0xA409, "Saturation", ExifForm::Integer},
    {0xA40A, "Sharpness", ExifForm::Integer},
    {0xA40C, "SubjectDistRange", ExifForm::Integer},
    {0xA420, "ImageUniqueID", ExifForm::Text},
    {0xA430, "CameraOwnerName", ExifForm::Text},
    {0xA431, "BodySerialNumber", ExifForm::Text},
    {0xA432, "LensSpecification", ExifForm::Reals},
    {0xA433, "LensMake", ExifForm::Text},
    {0xA434, "LensModel", ExifForm::Text},
    {0xA435, "LensSerialNumber", ExifForm::Text},
    {0xA460, "CompositeImage", ExifForm::Integer},
    {0xA461, "SourceImageNumberOfCompositeImage", ExifForm::Integers},
    {0xA500, "Gamma", ExifForm::Real},
};

inline constexpr ExifKey kGpsKeys[] = {
    {0x00, "GPSVersion", ExifForm::Integers},
    {0x01, "LatitudeRef", ExifForm::Text},
    {0x02, "Latitude", ExifForm::Coordinate},
    {0x03, "LongitudeRef", ExifForm::Text},
    {0x04, "Longitude", ExifForm::Coordinate},
    {0x05, "AltitudeRef", ExifForm::Integer},
    {0x06, "Altitude", ExifForm::Real},
    {0x07, "TimeStamp", ExifForm::TimeOfDay},
    {0x08, "Satellites", ExifForm::Text},
    {0x09, "Status", ExifForm::Text},
    {0x0A, "MeasureMode", ExifForm::Text},
    {0x0B, "DOP", ExifForm::Real},
    {0x0C, "SpeedRef", ExifForm::Text},
    {0x0D, "Speed", ExifForm::Real},
    {0x0E, "TrackRef", ExifForm::Text},
    {0x0F, "Track", ExifForm::Real},
    {0x10, "ImgDirectionRef", ExifForm::Text},
    {0x11, "ImgDirection", ExifForm::Real},
    {0x12, "MapDatum", ExifForm::Text},
    {0x13, "DestLatitudeRef", ExifForm::Text},
    {0x14, "DestLatitude", ExifForm::Coordinate},
    {0x15, "DestLongitudeRef", ExifForm::Text},
    {0x16, "DestLongitude", ExifForm::Coordinate},
    {0x17, "DestBearingRef", ExifForm::Text},
    {0x18, "DestBearing", ExifForm::Real},
    {0x19, "DestDistanceRef", ExifForm::Text},
    {0x1A, "DestDistance", ExifForm::Real},
    {0x1B, "ProcessingMethod", ExifForm::Comment},
    {0x1C, "AreaInformation", ExifForm::Comment},
    {0x1D, "DateStamp", ExifForm::Text},
    {0x1E, "Differential", ExifForm::Integer},
    {0x1F, "HPositioningError", ExifForm::Real},
};

// DNG 1.4, without the tags whose values are tables, profiles and other files: they are long, and clients do
// not show them.
inline constexpr ExifKey kDngKeys[] = {
    {0xC612, "DNGVersion", ExifForm::TrimmedIntegers},
    {0xC613, "DNGBackwardVersion", ExifForm::TrimmedIntegers},
    {0xC614, "UniqueCameraModel", ExifForm::Text},
    {0xC615, "LocalizedCameraModel", ExifForm::Text},
    {0xC616, "CFAPlaneColor", ExifForm::Integers},
    {0xC617, "CFALayout", ExifForm::Integer},
    {0xC619, "BlackLevelRepeatDim", ExifForm::Integers},
    {0xC61A, "BlackLevel", ExifForm::Numbers},
    {0xC61D, "WhiteLevel", ExifForm::Numbers},
    {0xC61E, "DefaultScale", ExifForm::SingleReals},
    {0xC61F, "DefaultCropOrigin", ExifForm::Numbers},
    {0xC620, "DefaultCropSize", ExifForm::Numbers},
    {0xC621, "ColorMatrix1", ExifForm::SingleReals},
    {0xC622, "ColorMatrix2", ExifForm::SingleReals},
    {0xC623, "CameraCalibration1", ExifForm::SingleReals},
    {0xC624, "CameraCalibration2", ExifForm::SingleReals},
    {0xC625, "ReductionMatrix1", ExifForm::SingleReals},
    {0xC626, "ReductionMatrix2", ExifForm::SingleReals},
    {0xC627, "AnalogBalance", ExifForm::SingleReals},
    {0xC628, "AsShotNeutral", ExifForm::SingleReals},
    {0xC629, "AsShotWhiteXY", ExifForm::SingleReals},
    {0xC62A, "BaselineExposure", ExifForm::SingleReal},
    {0xC62B, "BaselineNoise", ExifForm::SingleReal},
    {0xC62C, "BaselineSharpness", ExifForm::SingleReal},
    {0xC62D, "BayerGreenSplit", ExifForm::Integer},
    {0xC62E, "LinearResponseLimit", ExifForm::SingleReal},
    {0xC62F, "CameraSerialNumber", ExifForm::Text},
    {0xC630, "LensInfo", ExifForm::Reals},
    {0xC631, "ChromaBlurRadius", ExifForm::SingleReal},
    {0xC632, "AntiAliasStrength", ExifForm::SingleReal},
    {0xC633, "ShadowScale", ExifForm::SingleReal},
    {0xC634, "DNGPrivateData", ExifForm::Data},
    {0xC635, "MakerNoteSafety", ExifForm::Integer},
    {0xC65A, "CalibrationIlluminant1", ExifForm::Integer},
    {0xC65B, "CalibrationIlluminant2", ExifForm::Integer},
    {0xC65C, "BestQualityScale", ExifForm::SingleReal},
    {0xC65D, "DNGRawDataUniqueID", ExifForm::Data},
    {0xC68B, "OriginalRawFileName", ExifForm::Text},
    {0xC68D, "ActiveArea", ExifForm::Integers},
    {0xC68E, "MaskedAreas", ExifForm::Integers},
    {0xC690, "AsShotPreProfileMatrix", ExifForm::SingleReals},
    {0xC692, "CurrentPreProfileMatrix", ExifForm::SingleReals},
    {0xC6BF, "ColorimetricReference", ExifForm::Integer},
    {0xC6F3, "CameraCalibrationSignature", ExifForm::Text},
    {0xC6F4, "ProfileCalibrationSignature", ExifForm::Text},
    {0xC6F6, "AsShotProfileName", ExifForm::Text},
    {0xC6F7, "NoiseReductionApplied", ExifForm::SingleReal},
    {0xC6F8, "DNGProfileName", ExifForm::Text},
    {0xC6F9, "ProfileHueSatMapDims", ExifForm::Integers},
    {0xC6FD, "ProfileEmbedPolicy", ExifForm::Integer},
    {0xC6FE, "ProfileCopyright", ExifForm::Text},
    {0xC714, "ForwardMatrix1", ExifForm::SingleReals},
    {0xC715, "ForwardMatrix2", ExifForm::SingleReals},
    {0xC716, "PreviewApplicationName", ExifForm::Text},
    {0xC717, "PreviewApplicationVersion", ExifForm::Text},
    {0xC718, "PreviewSettingsName", ExifForm::Text},
    {0xC719, "PreviewSettingsDigest", ExifForm::Data},
    {0xC71A, "PreviewColorSpace", ExifForm::Integer},
    {0xC71B, "PreviewDateTime", ExifForm::Text},
    {0xC71C, "RawImageDigest", ExifForm::Data},
    {0xC71D, "OriginalRawFileDigest", ExifForm::Data},
    {0xC71E, "SubTileBlockSize", ExifForm::Integers},
    {0xC71F, "RowInterleaveFactor", ExifForm::Integer},
    {0xC725, "ProfileLookTableDims", ExifForm::Integers},
    {0xC761, "NoiseProfile", ExifForm::Reals},
    {0xC791, "OriginalDefaultFinalSize", ExifForm::Integers},
    {0xC792, "OriginalBestQualityFinalSize", ExifForm::Integers},
    {0xC793, "OriginalDefaultCropSize", ExifForm::Numbers},
    {0xC7A5, "BaselineExposureOffset", ExifForm::SingleReal},
    {0xC7A6, "DefaultBlackRender", ExifForm::Integer},
    {0xC7A7, "NewRawImageDigest", ExifForm::Data},
    {0xC7A8, "RawToPreviewGain", ExifForm::SingleReal},
    {0xC7B5, "DefaultUserCrop", ExifForm::SingleReals},
};

// Null for a tag without a property. The tables are sorted by tag.
inline const ExifKey* keyOf(std::span<const ExifKey> table, std::uint16_t tag) {
  const auto found =
      std::lower_bound(table.begin(), table.end(), tag,
                       [](const ExifKey& key, std::uint16_t wanted) { return key.tag < wanted; });
  return found != table.end() && found->tag == tag ? &*found : nullptr;
}

constexpr bool isInOrder(std::span<const ExifKey> table) {
  return std::is_sorted(table.begin(), table.end(),
                        [](const ExifKey& a, const ExifKey& b) { return a.tag < b.tag; });
}
static_assert(isInOrder(kTiffKeys) && isInOrder(kExifKeys) && isInOrder(kGpsKeys) && isInOrder(kDngKeys));

}  // namespace moxtel::properties
