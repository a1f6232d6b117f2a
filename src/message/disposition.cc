#include <kelmime/disposition.h>

#include <algorithm>
#include <string_view>

#include <kel/ascii.h>
#include <kel/preferences.h>
#include <kelmime/body.h>

namespace kel {

namespace {

constexpr std::string_view type_key = "/Type";
constexpr std::string_view page_name = "/Page";

// Whether "/Type /Page" stands in the file twice; "/Type /Pages" is a list of pages.
bool has_several_pages(std::string_view pdf) {
  int pages = 0;
  for (std::size_t at = pdf.find(type_key); at != pdf.npos && pages < 2; at = pdf.find(type_key, at)) {
    pdf.remove_prefix(at + type_key.size());
    auto const value = std::ranges::find_if_not(pdf, ascii::is_space);
    pdf.remove_prefix(static_cast<std::size_t>(value - pdf.begin()));
    at = 0;
    if (pdf.starts_with(page_name) && pdf.size() > page_name.size() && pdf[page_name.size()] != 's')
      ++pages;
  }
  return pages == 2;
}

bool is_shown_pdf(body_part_t& part) {
  return !preferences::boolean("PwNeverInlinePDF") && !has_several_pages(part.decoded_body());
}

bool can_be_inline(body_part_t& part) {
  std::string const kind = part.mime_type();
  if (kind == "application/pdf" || kind == "application/x-pdf")
    return is_shown_pdf(part);
  return part.is_text() || part.is_multi_part() || kind == "message/rfc822" || kind.starts_with("image/");
}

}  // namespace

std::string get_disposition(body_part_t& part) {
  std::string stated = part.get_header_lowercased("content-disposition.type", "");
  if (stated.empty())
    stated = part.is_text() && !part.get_filename().empty() ? "attachment" : "inline";
  return stated == "inline" && can_be_inline(part) ? "inline" : "attachment";
}

}  // namespace kel
