#pragma once

#include <string>
#include <string_view>

namespace vantorel {

/// How Photos names the files of an asset: "<identifier>.<ext>" is the main file; "<identifier>_<digit>…"
/// lies beside it in the originals folder (3: the video of a Live Photo, 4: the RAW beside a JPEG, 5: side
/// data), and in the folders of smaller copies names one of those. The identifier is a UUID, upper case as
/// Photos writes it.
namespace OriginalNames {

/// The 36 bytes with which the name begins, as they stand there; "" when it begins with no identifier.
std::string_view identifier(std::string_view name);
/// The digit of "<identifier>_<digit>…"; 0 for every other name. Such a file is never a main file.
char partDigit(std::string_view name);
/// Names that equal each other but for case and Unicode form give one key.
std::string folded(std::string_view name);
/// What stands behind the last dot, in lower case (ASCII); "" without one or where the name only begins with
/// it.
std::string lowerCaseExtension(std::string_view name);
std::string_view withoutExtension(std::string_view name);
/// Files and folders that a system leaves in any folder: hidden ones (AppleDouble "._name", ".DS_Store"),
/// folder icons, thumbnails and trash of other systems. Never an original, never unknown.
bool isLeftBySystem(std::string_view name);

} // namespace OriginalNames

} // namespace vantorel
