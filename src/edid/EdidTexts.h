// SPDX-License-Identifier: Apache-2.0
#pragma once

/**
 * The report's texts, letter for letter as its readers expect them ("Digtal", "Manufacture's",
 * "Descripter"). %1, %2, ... are QString's place markers.
 */
namespace edid::text {

// Status. The verdicts begin with a bare carriage return.
inline constexpr char headerError[] = "EDID data header error !";
inline constexpr char hdmiStatus[] = "HDMI EDID";
inline constexpr char dviStatus[] = "DVI EDID";
inline constexpr char bank0Error[] = "\rBank0 check sum error !";
inline constexpr char bank1Error[] = "\rBank1 check sum error !";
inline constexpr char bank1Ok[] = "\rBank1 check sum Ok !";
inline constexpr char sumOk[] = "\rcheck sum Ok !";
inline constexpr char sumError[] = "\rCheck sum error !";

// Fields.
inline constexpr char progressive[] = "%1x%2@%3Hz";
inline constexpr char interlaced[] = "%1x%2i@%3Hz";
inline constexpr char fieldEnd[] = ",";
inline constexpr char native[] = " Native";
inline constexpr char audioEntry[] = "%1 %2CH";
inline constexpr char hdmi[] = "HDMI";
inline constexpr char dvi[] = "DVI";

// Lines of the base block.
inline constexpr char detailedTiming[] = "Detailed Timing:%1\r\n";
inline constexpr char manufacturer[] = "Manufacture's Name:%1\r\n";
inline constexpr char productName[] = "Display Product Name:%1\r\n";
inline constexpr char productCode[] = "Product Code:%1\r\n";
inline constexpr char videoSignal[] = "Video Signal Interface:%1\r\n";
inline constexpr char digital[] = "Digtal";
inline constexpr char analog[] = "Analog";
inline constexpr char colorDepth[] = "Color Bit Depth:%1\r\n";
inline constexpr char verticalRate[] = "Vertical Rate:%1Hz--%2Hz\r\n";
inline constexpr char horizontalRate[] = "Horizontal Rate:%1KHz--%2KHz\r\n";
inline constexpr char maximumPixelClock[] = "Maximum Pixel Clock:%1MHz\r\n";

// Lines of the extension.
inline constexpr char plainLine[] = "%1\r\n";
inline constexpr char extensionTiming[] = "Extension Detailed Timing%1:%2\r\n";
inline constexpr char shortVideoHeading[] = "Short Video Descripter:\r\n";
inline constexpr char audioFormat[] = "Audio Format:%1\r\n";
inline constexpr char audioChannels[] = "Audio Channel(s):%1\r\n";
inline constexpr char sampleFrequency[] = "Sample Frequency:\r\n";
inline constexpr char deviceSupport[] = "Extension Device Support:\r\n";
inline constexpr char basicAudio[] = "Base Audio\r\n";
inline constexpr char ycbcr444[] = "YCbCr4:4:4\r\n";
inline constexpr char nativeTimings[] = "Native Timings:%1\r\n";
inline constexpr char deepColor[] = "Deep Color:\r\n";
inline constexpr char deepColor48[] = "48Bit ";
inline constexpr char deepColor36[] = "36Bit ";
inline constexpr char deepColor30[] = "30Bit ";
inline constexpr char deepColorY444[] = "YCbCr444 DeepColor:%1\r\n";
inline constexpr char video3d[] = "3D video:%1\r\n";
inline constexpr char support[] = "support";
inline constexpr char notSupport[] = "not support";
inline constexpr char extendedResolution[] = "Extended Resolution(4Kx2K):\r\n";
inline constexpr char y420Video[] = "\r\nY420VDB Descripter :\r\n";
inline constexpr char y420CapabilityMap[] = "\r\nY420CMDB Descripter :\r\n";
inline constexpr char everyShortVideo[] = "All SVDs do support YUV420\r\n";
inline constexpr char hdrSupport[] = "\r\nHDR :Support\r\n";
inline constexpr char hdrNotSupport[] = "\r\nHDR :Not support\r\n";

} // namespace edid::text
