#pragma once

#include <openssl/bio.h>
#include <openssl/evp.h>
#include <openssl/pem.h>
#include <openssl/x509.h>
#include <openssl/x509v3.h>

#include <memory>
#include <string>

namespace yoxd {

// A certificate with its key, valid for a day, that another one or the key itself has signed.
class TestCertificate {
 public:
  struct Options {
    const TestCertificate* issuer = nullptr;  // null: self-signed
    bool is_authority = false;
    std::string names = {};     // of the server, for example "IP:127.0.0.1"
    long expires_in = 86'400L;  // seconds from now
  };

  TestCertificate(const std::string& common_name, const Options& options)
      : key_(EVP_EC_gen("P-256"), &EVP_PKEY_free), certificate_(X509_new(), &X509_free) {
    static long serial = 0;
    X509* const made = certificate_.get();
    const TestCertificate& issuer = options.issuer != nullptr ? *options.issuer : *this;
    X509_set_version(made, X509_VERSION_3);
    ASN1_INTEGER_set(X509_get_serialNumber(made), ++serial);
    X509_gmtime_adj(X509_getm_notBefore(made), -86'400L);
    X509_gmtime_adj(X509_getm_notAfter(made), options.expires_in);
    X509_set_pubkey(made, key_.get());
    X509_NAME_add_entry_by_txt(X509_get_subject_name(made), "CN", MBSTRING_UTF8,
                               reinterpret_cast<const unsigned char*>(common_name.c_str()), -1, -1,
                               0);
    X509_set_issuer_name(made, X509_get_subject_name(issuer.get()));
    Add(NID_basic_constraints, options.is_authority ? "critical,CA:TRUE" : "CA:FALSE");
    if (!options.names.empty()) Add(NID_subject_alt_name, options.names.c_str());
    X509_sign(made, issuer.key(), EVP_sha256());
  }

  X509* get() const { return certificate_.get(); }
  EVP_PKEY* key() const { return key_.get(); }

  std::string Pem() const {
    const std::unique_ptr<BIO, decltype(&BIO_free)> text(BIO_new(BIO_s_mem()), &BIO_free);
    PEM_write_bio_X509(text.get(), get());
    char* data = nullptr;
    const long size = BIO_get_mem_data(text.get(), &data);
    return {data, static_cast<std::size_t>(size)};
  }
  // SHA-256, in small hexadecimal digits.
  std::string Thumbprint() const {
    unsigned char digest[EVP_MAX_MD_SIZE];
    unsigned size = 0;
    X509_digest(get(), EVP_sha256(), digest, &size);
    std::string text;
    for (unsigned i = 0; i < size; ++i) {
      text += "0123456789abcdef"[digest[i] / 16];
      text += "0123456789abcdef"[digest[i] % 16];
    }
    return text;
  }

 private:
  void Add(int kind, const char* value) {
    const std::unique_ptr<X509_EXTENSION, decltype(&X509_EXTENSION_free)> extension(
        X509V3_EXT_conf_nid(nullptr, nullptr, kind, value), &X509_EXTENSION_free);
    X509_add_ext(get(), extension.get(), -1);
  }

  std::unique_ptr<EVP_PKEY, decltype(&EVP_PKEY_free)> key_;
  std::unique_ptr<X509, decltype(&X509_free)> certificate_;
};

}  // namespace yoxd
