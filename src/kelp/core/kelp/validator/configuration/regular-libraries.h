#pragma once

#include <string_view>

/// The libraries that a regular application may link.
///
/// The tables named "...Expressions" hold regular expressions, the others exact names. Most expressions are a
/// soname with an optional tag in parentheses, as rpm writes a symbol version. Most rows for Qt exclude the
/// tag of Qt's private interface.
namespace Configuration::RegularRows {

inline constexpr std::string_view allowedLibraries[] = {
    "ld-linux-aarch64.so.1",
    "ld-linux-armhf.so.3",
    "ld-linux-x86-64.so.2",
    "ld-linux.so.2",
    "libEGL.so.1",
    "libGLESv1_CM.so.1",
    "libGLESv2.so.2",
    "libSDL2-2.0.so.0",
    "libSDL2_gfx-1.0.so.0",
    "libSDL2_image-2.0.so.0",
    "libSDL2_mixer-2.0.so.0",
    "libSDL2_net-2.0.so.0",
    "libSDL2_ttf-2.0.so.0",
    "libcobaltpdf.so.1",
    "libcobaltwebauthorization.so.1",
    "libappdir-cpp.so.2",
    "libappdir.so.2",
    "libattestation-qt5.so.0",
    "libaudioresource.so.1",
    "libveluraapp.so.2",
    "libveluracontacts.so.0",
    "libvelurawebview.so",
    "libbz2.so.1",
    "libc.so.6",
    "libcef.so",
    "libcrypto.so.1.1",
    "libcurl.so.4",
    "libdbus-1.so.3",
    "libdevicewarden.so.0",
    "libdl.so.2",
    "libexpat.so.1",
    "libfontconfig.so.1",
    "libgcc_s.so.1",
    "libgio-2.0.so.0",
    "libglib-2.0.so.0",
    "libgmodule-2.0.so.0",
    "libgobject-2.0.so.0",
    "libgthread-2.0.so.0",
    "libinapptab.so",
    "libkeepalive.so.1",
    "liblzma.so.5",
    "libm.so.6",
    "libmanaged-configuration-qt5.so.0",
    "libmdeclarativecache5.so.0",
    "libmlite5.so.0",
    "libpelagonotifications-qt5.so.1",
    "libpelagothumbnailer-qt5.so.1",
    "libngf-qt5.so.0",
    "libogg.so.0",
    "libpng16.so.16",
    "libpthread.so.0",
    "libpulse-simple.so.0",
    "libpulse.so.0",
    "libpushapi.so.2",
    "libresolv.so.2",
    "libresourceqt5.so.1",
    "librt.so.1",
    "libruntime-manager-qt5.so.1",
    "libhalyardvitrine.so.1",
    "libsndfile.so.1",
    "libsqlite3.so.0",
    "libssl.so.1.1",
    "libstdc++.so.6",
    "libstreamcamera-qt5.so.0",
    "libstreamcamera.so.0",
    "libvorbis.so.0",
    "libvorbisenc.so.2",
    "libvorbisfile.so.3",
    "libvulkan.so.1",
    "libwayland-client.so.0",
    "libwayland-cursor.so.0",
    "libwayland-egl.so.1",
    "libxml2.so.2",
    "libz.so.1",
};

inline constexpr std::string_view allowedLibrariesExpressions[] = {
    R"(^libQt5Concurrent\.so\.5(?:\((?!Qt_5_PRIVATE_API).*\))?$)",
    R"(^libQt5DBus\.so\.5(?:\((?!Qt_5_PRIVATE_API).*\))?$)",
    R"(^libQt5Feedback\.so\.0(?:\((?!Qt_5_PRIVATE_API).*\))?$)",
    R"(^libQt5Gui\.so\.5(?:\((?!Qt_5_PRIVATE_API).*\))?$)",
    R"(^libQt5Location\.so\.5(?:\((?!Qt_5_PRIVATE_API).*\))?$)",
    R"(^libQt5Multimedia\.so\.5(?:\((?!Qt_5_PRIVATE_API).*\))?$)",
    R"(^libQt5Network\.so\.5(?:\((?!Qt_5_PRIVATE_API).*\))?$)",
    R"(^libQt5Positioning\.so\.5(?:\((?!Qt_5_PRIVATE_API).*\))?$)",
    R"(^libQt5Qml\.so\.5(?:\((?!Qt_5_PRIVATE_API).*\))?$)",
    R"(^libQt5Quick\.so\.5(?:\((?!Qt_5_PRIVATE_API).*\))?$)",
    R"(^libQt5Sensors\.so\.5(?:\((?!Qt_5_PRIVATE_API).*\))?$)",
    R"(^libQt5Sql\.so\.5(?:\((?!Qt_5_PRIVATE_API).*\))?$)",
    R"(^libQt5Svg\.so\.5(?:\((?!Qt_5_PRIVATE_API).*\))?$)",
    R"(^libQt5SystemInfo\.so\.5(?:\((?!Qt_5_PRIVATE_API).*\))?$)",
    R"(^libQt5WebKit\.so\.5(?:\((?!Qt_5_PRIVATE_API).*\))?$)",
    R"(^libQt5WebSockets\.so\.5(?:\((?!Qt_5_PRIVATE_API).*\))?$)",
    R"(^libQt5XmlPatterns\.so\.5(?:\((?!Qt_5_PRIVATE_API).*\))?$)",
    R"(^libQt5Xml\.so\.5(?:\((?!Qt_5_PRIVATE_API).*\))?$)",
    R"(^libqca-qt5\.so\..*$)",
    R"(^libqt5embedwidget\.so\..*$)",
    R"(^libQt5Core\.so\.5(?:\((?!Qt_5_PRIVATE_API).*\))?$)",
};

inline constexpr std::string_view unstableLibraries[] = {
    "libQmfClient.so.5", "libQmfMessageServer.so.5", "libvelura-controls.so", "libcallservice.so.1",
    "libpcsclite.so.1",  "libhalyardpolicy.so.0",    "libwebrtc.so.104.0.0",
};

inline constexpr std::string_view unstableLibrariesExpressions[] = {
    R"(libQt5VideoChat\.so\.0(?:\(.*\))?)",
    R"(libpushclient\.so\..*)",
};

inline constexpr std::string_view deprecatedLibraries[] = {
    "libpelagotransferengine-qt5.so.1",
    "libpng15.so.15",
    "libhalyardapp.so.1",
    "libhalyardcrypto.so.0",
    "libhalyardcryptopluginapi.so.0",
    "libhalyardsecrets.so.0",
    "libhalyardsecretspluginapi.so.0",
};

inline constexpr std::string_view deprecatedLibrariesExpressions[] = {
    R"(^libQt5WebChannel\.so\.5(?:\((?!Qt_5_PRIVATE_API).*\))?)",
    R"(^libQt5WebEngine.so.5(?:((?!Qt_5_PRIVATE_API).*))?)",
    R"(^libQt5WebEngineCore\.so\.5(?:\((?!Qt_5_PRIVATE_API).*\))?)",
};

} // namespace Configuration::RegularRows
