// What the source files on OpenSSL share. Its headers stay in them; its types are named here only.
#pragma once

#include <kelmime/smime.h>

#include <memory>
#include <string>
#include <string_view>

struct asn1_string_st;
struct bio_st;
struct evp_pkey_st;
struct x509_st;

namespace kel::cms {

template <auto release>
struct released_by_t {
  template <typename T>
  void operator()(T* value) const {
    release(value);
  }
};

template <typename T, auto release>
using handle_t = std::unique_ptr<T, released_by_t<release>>;

void release_bio(bio_st* bio);  // and the whole chain behind it
void release_certificate(x509_st* certificate);
void release_key(evp_pkey_st* key);

using bio_t = handle_t<bio_st, release_bio>;
using x509_t = handle_t<x509_st, release_certificate>;
using key_t = handle_t<evp_pkey_st, release_key>;

// OpenSSL counts many things in int.
bool is_too_large(std::string_view bytes);

// Reads the bytes, which must live on; null when there are too many.
bio_t reader_of(std::string_view bytes);

// Collects what is written to it.
bio_t collector();
std::string collected(bio_t const& bio);

std::string_view view_of(asn1_string_st const* text);

// Null when the bytes are not what they should be.
x509_t parse_certificate(std::string_view der);
key_t parse_key(private_key_t const& key);

certificate_t described(x509_st* certificate);

// Keeps errors of before out of the texts of this operation, and its own out of what the application asks later.
class error_scope_t {
public:
  error_scope_t();
  ~error_scope_t();
  error_scope_t(error_scope_t const&) = delete;
  error_scope_t& operator=(error_scope_t const&) = delete;
};

// The line on the first error in the scope.
std::string trouble_of_scope();

}  // namespace kel::cms
