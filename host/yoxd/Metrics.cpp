#include "host/yoxd/Metrics.h"

#include <string_view>

namespace yoxd {
namespace {

struct Metric {
  const char* name;
  const char* type;
  const char* help;
  const char* section;
  const char* key;
};

constexpr Metric kMetrics[] = {
    {"yoxd_connections", "counter", "Connections to the broker", "connection", "connections"},
    {"yoxd_connection_failures", "counter", "Connections that failed or were lost", "connection",
     "failures"},
    {"yoxd_received", "counter", "Messages received", "connection", "received"},
    {"yoxd_repeated", "counter", "Messages that the broker delivered again", "connection",
     "repeated"},
    {"yoxd_unreadable", "counter", "Messages that could not be read", "connection", "unreadable"},
    {"yoxd_handled", "counter", "Received messages that the bus has delivered", "connection",
     "handled"},
    {"yoxd_sent", "counter", "Messages handed to the connection", "connection", "sent"},
    {"yoxd_acknowledged", "counter", "Messages that the broker has acknowledged", "connection",
     "acknowledged"},
    {"yoxd_queue_messages", "gauge", "Messages in the queue", "queue", "messages"},
    {"yoxd_queue_bytes", "gauge", "Bytes in the queue", "queue", "bytes"},
    {"yoxd_queue_states", "gauge", "Retained values that were not sent yet", "queue", "states"},
    {"yoxd_queue_dropped", "counter", "Messages dropped from a full queue", "queue", "dropped"},
};

std::string Escaped(std::string_view text) {
  std::string escaped;
  for (const char c : text) {
    if (c == '\n') {
      escaped += "\\n";
      continue;
    }
    if (c == '"' || c == '\\') escaped += '\\';
    escaped += c;
  }
  return escaped;
}

void Head(std::string& text, std::string_view name, std::string_view type, std::string_view help) {
  text += "# TYPE " + std::string(name) + " " + std::string(type) + "\n";
  text += "# HELP " + std::string(name) + " " + std::string(help) + "\n";
}

void Value(std::string& text, std::string_view name, std::string_view type,
           const Json::Value& value, const std::string& labels = {}) {
  text += std::string(name) + (type == "counter" ? "_total" : "") + labels + " " +
          std::to_string(value.asUInt64()) + "\n";
}

}  // namespace

std::string MetricsText(const Json::Value& status) {
  std::string text;
  Head(text, "yoxd", "info", "The service");
  text += "yoxd_info{version=\"" + Escaped(status["version"].asString()) + "\",device_id=\"" +
          Escaped(status["device_id"].asString()) + "\"} 1\n";
  Head(text, "yoxd_connected", "gauge", "Whether there is a connection to the broker");
  Value(text, "yoxd_connected", "gauge",
        Json::UInt64{status["connection"]["state"] == "connected" ? 1U : 0U});
  for (const Metric& metric : kMetrics) {
    Head(text, metric.name, metric.type, metric.help);
    Value(text, metric.name, metric.type, status[metric.section][metric.key]);
  }
  Head(text, "yoxd_decisions", "counter", "Decisions of lists");
  Value(text, "yoxd_decisions", "counter", status["decisions"]);
  Head(text, "yoxd_failed_writes", "counter", "Files that could not be written");
  Value(text, "yoxd_failed_writes", "counter", status["failed_writes"]);
  Head(text, "yoxd_list_applies", "gauge", "Whether a list applies");
  for (const Json::Value& list : status["lists"]) {
    if (!list.isMember("applies")) continue;
    Value(text, "yoxd_list_applies", "gauge", Json::UInt64{list["applies"].asBool() ? 1U : 0U},
          "{content=\"" + Escaped(list["content"].asString()) + "\"}");
  }
  Head(text, "yoxd_errors", "gauge", "Errors of a gateway since it was last cleared");
  for (const Json::Value& error : status["errors"]["counts"]) {
    Value(text, "yoxd_errors", "gauge", error["count"],
          "{gateway=\"" + Escaped(error["gateway"].asString()) + "\",code=\"" +
              std::to_string(error["code"].asInt()) + "\"}");
  }
  return text + "# EOF\n";
}

}  // namespace yoxd
