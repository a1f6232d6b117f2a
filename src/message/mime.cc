#include <kelmime/mime.h>

#include <array>
#include <fstream>
#include <map>
#include <sstream>
#include <string_view>

#include <kel/path.h>
#include <kel/text.h>

namespace kel::mime {

namespace {

struct known_type_t {
  std::string_view mime_type;
  std::string_view extension;
};

// The first row of a type gives its extension, the first row of an extension its type; the others are synonyms.
constexpr std::array known_types = std::to_array<known_type_t>({
    { "text/plain", "txt" },
    { "text/html", "html" },
    { "text/html", "htm" },
    { "text/css", "css" },
    { "text/csv", "csv" },
    { "text/calendar", "ics" },
    { "text/markdown", "md" },
    { "text/richtext", "rtx" },
    { "text/enriched", "txt" },
    { "text/rtf", "rtf" },
    { "text/vcard", "vcf" },
    { "text/x-vcard", "vcf" },
    { "text/xml", "xml" },
    { "text/javascript", "js" },
    { "text/x-patch", "patch" },
    { "text/x-diff", "diff" },
    { "image/jpeg", "jpg" },
    { "image/jpeg", "jpeg" },
    { "image/jpg", "jpg" },
    { "image/pjpeg", "jpg" },
    { "image/png", "png" },
    { "image/gif", "gif" },
    { "image/tiff", "tiff" },
    { "image/tiff", "tif" },
    { "image/bmp", "bmp" },
    { "image/webp", "webp" },
    { "image/heic", "heic" },
    { "image/svg+xml", "svg" },
    { "image/x-icon", "ico" },
    { "image/vnd.microsoft.icon", "ico" },
    { "audio/mpeg", "mp3" },
    { "audio/mp4", "m4a" },
    { "audio/x-m4a", "m4a" },
    { "audio/aac", "aac" },
    { "audio/ogg", "ogg" },
    { "audio/flac", "flac" },
    { "audio/midi", "mid" },
    { "audio/x-wav", "wav" },
    { "audio/wav", "wav" },
    { "audio/x-aiff", "aiff" },
    { "audio/amr", "amr" },
    { "video/quicktime", "mov" },
    { "video/mp4", "mp4" },
    { "video/mpeg", "mpg" },
    { "video/x-msvideo", "avi" },
    { "video/x-ms-wmv", "wmv" },
    { "video/webm", "webm" },
    { "video/x-matroska", "mkv" },
    { "video/3gpp", "3gp" },
    { "application/pdf", "pdf" },
    { "application/postscript", "ps" },
    { "application/postscript", "eps" },
    { "application/rtf", "rtf" },
    { "application/json", "json" },
    { "application/xml", "xml" },
    { "application/zip", "zip" },
    { "application/x-zip-compressed", "zip" },
    { "application/gzip", "gz" },
    { "application/x-gzip", "gz" },
    { "application/x-bzip2", "bz2" },
    { "application/x-xz", "xz" },
    { "application/x-tar", "tar" },
    { "application/x-7z-compressed", "7z" },
    { "application/vnd.rar", "rar" },
    { "application/x-rar-compressed", "rar" },
    { "application/msword", "doc" },
    { "application/vnd.ms-excel", "xls" },
    { "application/vnd.ms-powerpoint", "ppt" },
    { "application/vnd.openxmlformats-officedocument.wordprocessingml.document", "docx" },
    { "application/vnd.openxmlformats-officedocument.spreadsheetml.sheet", "xlsx" },
    { "application/vnd.openxmlformats-officedocument.presentationml.presentation", "pptx" },
    { "application/vnd.oasis.opendocument.text", "odt" },
    { "application/vnd.oasis.opendocument.spreadsheet", "ods" },
    { "application/vnd.oasis.opendocument.presentation", "odp" },
    { "application/epub+zip", "epub" },
    { "application/ics", "ics" },
    { "application/pgp-signature", "asc" },
    { "application/pgp-keys", "asc" },
    { "application/pgp-encrypted", "asc" },
    { "application/pkcs7-mime", "p7m" },
    { "application/x-pkcs7-mime", "p7m" },
    { "application/pkcs7-signature", "p7s" },
    { "application/x-pkcs7-signature", "p7s" },
    { "application/pkcs10", "p10" },
    { "application/x-x509-ca-cert", "crt" },
    { "application/ms-tnef", "dat" },
    { "application/vnd.ms-tnef", "dat" },
    { "application/mbox", "mbox" },
    { "application/octet-stream", "bin" },
    { "message/rfc822", "eml" },
    { "message/global", "eml" },
    { "message/delivery-status", "txt" },
    { "message/disposition-notification", "txt" },
});

struct table_t {
  std::map<std::string, std::string, std::less<>> extensions;  // by type
  std::map<std::string, std::string, std::less<>> types;       // by extension

  void add(std::string_view mime_type, std::string_view extension) {
    extensions.try_emplace(std::string(mime_type), extension);
    types.try_emplace(std::string(extension), mime_type);
  }
};

// Lines of "type extension extension ...", with comments from "#" on.
void add_system_table(table_t& table) {
  std::ifstream file("/etc/mime.types");
  for (std::string line; std::getline(file, line);) {
    std::istringstream words(line.substr(0, line.find('#')));
    std::string mime_type;
    words >> mime_type;
    for (std::string extension; words >> extension;)
      table.add(mime_type, extension);
  }
}

// application/octet-stream says nothing, so a name of that type gets no extension; nor does "dat" say anything of a file, so
// that no file is sent as something that its reader tries to unpack.
table_t const& table() {
  static table_t const built = [] {
    table_t rows;
    for (auto const& [mime_type, extension] : known_types)
      rows.add(mime_type, extension);
    add_system_table(rows);
    rows.extensions.erase("application/octet-stream");
    rows.types.erase("dat");
    return rows;
  }();
  return built;
}

std::string look_up(std::map<std::string, std::string, std::less<>> const& rows, std::string const& key) {
  auto const found = rows.find(text::lowercase(key));
  return found == rows.end() ? std::string() : found->second;
}

}  // namespace

std::string extension_for_mime_type(std::string const& mime_type) {
  return look_up(table().extensions, mime_type);
}

std::string mime_type_for_extension(std::string const& extension) {
  return look_up(table().types, extension);
}

std::string mime_type_for_filepath(std::string const& path) {
  std::string const extension = path::extension(path);
  std::string const mime_type = extension.empty() ? "" : mime_type_for_extension(extension.substr(1));
  return mime_type.empty() ? "application/octet-stream" : mime_type;
}

}  // namespace kel::mime
