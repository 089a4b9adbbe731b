#pragma once

#include <openssl/ssl.h>

#include <cstddef>
#include <deque>
#include <filesystem>
#include <fstream>
#include <memory>
#include <stdexcept>
#include <string>
#include <vector>

#include "host/yoxd/Part.h"
#include "host/yoxd/tests/TestCertificate.h"

namespace yoxd {

// The other end of a connection, for tests: it accepts one client at a time over TLS, keeps the
// packets that the client sends, and sends what the test says. Nothing of it waits.
class ScriptedBroker final : public Part {
 public:
  // The types of MQTT's packets.
  enum Type { kConnect = 1, kPublish = 3, kAcknowledge = 4, kSubscribe = 8, kDisconnect = 14 };
  struct Packet {
    int type = 0;
    std::string body;  // without its length

    // The packet's identifier, of a subscription, an acknowledgement, or a message of QoS 1.
    int identifier() const {
      const std::size_t at = type == kPublish ? 2 + Number(0) : 0;
      return static_cast<int>(Number(at));
    }
    std::string payload() const { return body.substr(2 + Number(0) + 2); }

   private:
    std::size_t Number(std::size_t at) const {
      return static_cast<unsigned char>(body[at]) * std::size_t{256} +
             static_cast<unsigned char>(body[at + 1]);
    }
  };

  // Writes the certificate to trust to `trust_file`.
  explicit ScriptedBroker(const std::filesystem::path& trust_file)
      : context_(SSL_CTX_new(TLS_server_method()), &SSL_CTX_free),
        listener_(BIO_new_accept("127.0.0.1:0"), &BIO_free_all) {
    std::ofstream(trust_file) << certificate_.Pem();
    SSL_CTX_use_certificate(context_.get(), certificate_.get());
    SSL_CTX_use_PrivateKey(context_.get(), certificate_.key());
    BIO_set_nbio_accept(listener_.get(), 1);
    BIO_set_nbio(listener_.get(), 1);
    if (BIO_do_accept(listener_.get()) != 1) throw std::runtime_error("no port to listen at");
    port_ = std::stoi(BIO_get_accept_port(listener_.get()));
  }

  int port() const { return port_; }

  // Of the client that is there.
  std::deque<Packet>& packets() { return packets_; }
  // Takes the first of the packets.
  Packet Take() {
    Packet packet = packets_.front();
    packets_.pop_front();
    return packet;
  }

  void SendAccepted(bool session_present) {
    Send({0x20, 2, static_cast<char>(session_present), 0});
  }
  void SendRefused(int code) { Send({0x20, 2, 0, static_cast<char>(code)}); }
  void SendSubscribed(int identifier) {
    Send({static_cast<char>(0x90), 3, High(identifier), Low(identifier), 1});
  }
  void SendAcknowledged(int identifier) { Send({0x40, 2, High(identifier), Low(identifier)}); }
  // A message of QoS 1; the texts are short.
  void SendMessage(const std::string& topic, const std::string& payload, int identifier,
                   bool again = false) {
    const std::size_t size = 2 + topic.size() + 2 + payload.size();
    std::string bytes{static_cast<char>(again ? 0x3a : 0x32), static_cast<char>(size), 0,
                      static_cast<char>(topic.size())};
    bytes += topic;
    bytes += {High(identifier), Low(identifier)};
    Send(bytes + payload);
  }

  // Ends the connection of the client that is there.
  void Cut() {
    session_.reset();
    packets_.clear();
    bytes_.clear();
  }

  void Watch(std::vector<Watched>& watched) override {
    const int descriptor = static_cast<int>(session_ ? SSL_get_fd(session_.get())
                                                     : BIO_get_fd(listener_.get(), nullptr));
    watched.push_back({descriptor, true, false, {}});
  }
  // Accepts and reads what is there.
  void Run(Moment /*now*/) override {
    if (!session_ && BIO_do_accept(listener_.get()) == 1) {
      BIO* const accepted = BIO_pop(listener_.get());
      session_.reset(SSL_new(context_.get()));
      SSL_set_bio(session_.get(), accepted, accepted);
      SSL_set_accept_state(session_.get());
    }
    if (!session_) return;
    char piece[4'096];
    int size = 0;
    while ((size = SSL_read(session_.get(), piece, sizeof piece)) > 0) {
      bytes_.append(piece, static_cast<std::size_t>(size));
    }
    while (Parse()) {
    }
    const int why = SSL_get_error(session_.get(), size);
    if (why != SSL_ERROR_WANT_READ && why != SSL_ERROR_WANT_WRITE) {
      session_.reset();  // the client has left
      bytes_.clear();
    }
  }

 private:
  static char High(int number) { return static_cast<char>(number >> 8); }
  static char Low(int number) { return static_cast<char>(number & 255); }

  // To a client that has left, nothing is sent.
  void Send(const std::string& bytes) {
    if (session_) SSL_write(session_.get(), bytes.data(), static_cast<int>(bytes.size()));
  }
  // Moves a packet from the bytes to the packets; returns whether there was a whole one.
  bool Parse() {
    std::size_t size = 0;
    std::size_t at = 1;
    for (int shift = 0;; shift += 7, ++at) {
      if (at >= bytes_.size()) return false;
      const auto byte = static_cast<unsigned char>(bytes_[at]);
      size |= static_cast<std::size_t>(byte & 127) << shift;
      if (byte < 128) break;
    }
    ++at;
    if (bytes_.size() < at + size) return false;
    packets_.push_back({static_cast<unsigned char>(bytes_[0]) >> 4, bytes_.substr(at, size)});
    bytes_.erase(0, at + size);
    return true;
  }

  const TestCertificate certificate_{"broker", {.names = "IP:127.0.0.1"}};
  std::unique_ptr<SSL_CTX, decltype(&SSL_CTX_free)> context_;
  std::unique_ptr<BIO, decltype(&BIO_free_all)> listener_;
  struct Free {
    void operator()(SSL* session) const { SSL_free(session); }
  };
  std::unique_ptr<SSL, Free> session_;
  int port_ = 0;
  std::string bytes_;
  std::deque<Packet> packets_;
};

}  // namespace yoxd
