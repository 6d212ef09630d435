// SPDX-License-Identifier: MIT
#define G_SETTINGS_ENABLE_BACKEND
#include <gio/gio.h>
#include <gio/gsettingsbackend.h>
#include <glib-unix.h>
#include <unistd.h>

#include <cstdlib>
#include <fstream>
#include <memory>
#include <stdexcept>
#include <string>

#include "SettingsPeers.hpp"

namespace Tessaly::Benchmarks::SettingsPeers {
namespace {

constexpr const char* group = "org/example";

std::string path(const std::string& folder) { return folder + "/settings.ini"; }

class KeyFileStore final : public Store {
 public:
  KeyFileStore(const std::string& folder, int keys, Sync sync) : path_(path(folder)), sync_(sync) {
    if (keys == 0) {
      g_key_file_load_from_file(file_, path_.c_str(), G_KEY_FILE_NONE, nullptr);
      return;
    }
    for (int i = 0; i < keys; ++i) g_key_file_set_int64(file_, group, keyName(i).c_str(), i);
    save();
  }
  ~KeyFileStore() override { g_key_file_free(file_); }
  std::int64_t read(const std::string& key) override {
    return g_key_file_get_int64(file_, group, key.c_str(), nullptr);
  }
  void write(const std::string& key, std::int64_t value) override {
    g_key_file_set_int64(file_, group, key.c_str(), value);
    if (sync_ == Sync::afterEachWrite) save();
  }

 private:
  void save() {
    if (!g_key_file_save_to_file(file_, path_.c_str(), nullptr)) throw std::runtime_error("Cannot save the key file");
  }

  GKeyFile* const file_ = g_key_file_new();
  const std::string path_;
  const Sync sync_;
};

void writeSchema(const std::string& folder, int first, int count) {
  {
    std::ofstream schema(folder + "/org.example.gschema.xml");
    schema << "<schemalist><schema id=\"org.example\" path=\"/org/example/\">";
    for (int i = first; i < first + count; ++i) {
      schema << "<key name=\"" << keyName(i) << "\" type=\"x\"><default>" << i << "</default></key>";
    }
    schema << "</schema></schemalist>";
  }
  if (std::system(("glib-compile-schemas '" + folder + "'").c_str()) != 0) {
    throw std::runtime_error("Cannot compile the schema");
  }
}

GSettings* openSettings(const std::string& folder) {
  GSettingsSchemaSource* source = g_settings_schema_source_new_from_directory(folder.c_str(), nullptr, TRUE, nullptr);
  GSettingsSchema* schema = g_settings_schema_source_lookup(source, "org.example", FALSE);
  GSettingsBackend* backend =
      g_keyfile_settings_backend_new((folder + "/gsettings.ini").c_str(), "/org/example/", group);
  GSettings* settings = g_settings_new_full(schema, backend, nullptr);
  g_object_unref(backend);
  g_settings_schema_unref(schema);
  g_settings_schema_source_unref(source);
  return settings;
}

class GSettingsStore final : public Store {
 public:
  GSettingsStore(const std::string& folder, int keys) {
    if (keys > 0) {
      writeSchema(folder, keys <= 1000 ? 0 : keys / 2, keys <= 1000 ? keys : 1);
      std::ofstream file(folder + "/gsettings.ini");
      file << '[' << group << "]\n";
      for (int i = 0; i < keys; ++i) file << keyName(i) << '=' << i + 1 << '\n';
    }
    settings_ = openSettings(folder);
  }
  ~GSettingsStore() override { g_object_unref(settings_); }
  std::int64_t read(const std::string& key) override { return g_settings_get_int64(settings_, key.c_str()); }
  void write(const std::string& key, std::int64_t value) override {
    if (!g_settings_set_int64(settings_, key.c_str(), value)) throw std::runtime_error("Cannot write the setting");
  }

 private:
  GSettings* settings_ = nullptr;
};

class GSettingsConversation final : public Conversation {
 public:
  explicit GSettingsConversation(const std::string& folder) {
    writeSchema(folder, 0, 3);
    settings_ = openSettings(folder);
    g_signal_connect_swapped(settings_, "changed::key1", G_CALLBACK(&hear), this);
    g_signal_connect_swapped(settings_, "changed::key2", G_CALLBACK(&hear), this);
  }
  ~GSettingsConversation() override { g_object_unref(settings_); }
  void waitForTheOther() override { waitFor(1); }
  void roundTrip() override {
    const int before = heard_;
    g_settings_set_int64(settings_, "key0", ++number_);
    waitFor(before + 1);
  }

 private:
  static void hear(GSettingsConversation* self) { ++self->heard_; }
  void waitFor(int count) {
    while (heard_ < count) g_main_context_iteration(nullptr, TRUE);
  }

  GSettings* settings_ = nullptr;
  std::int64_t number_ = 1'000'000;
  int heard_ = 0;
};

}  // namespace

std::string keyName(int number) { return "key" + std::to_string(number); }

std::shared_ptr<Store> keyFile(const std::string& folder, int keys, Sync sync) {
  return std::make_shared<KeyFileStore>(folder, keys, sync);
}

std::shared_ptr<Store> gSettings(const std::string& folder, int keys) {
  return std::make_shared<GSettingsStore>(folder, keys);
}

std::shared_ptr<Conversation> gSettingsConversation(const std::string& folder) {
  return std::make_shared<GSettingsConversation>(folder);
}

void gSettingsEcho(const std::string& folder) {
  GSettings* settings = openSettings(folder);
  const auto answer =
      +[](GSettings* changed) { g_settings_set_int64(changed, "key1", g_settings_get_int64(changed, "key0")); };
  g_signal_connect(settings, "changed::key0", G_CALLBACK(answer), nullptr);
  GMainLoop* loop = g_main_loop_new(nullptr, FALSE);
  g_unix_fd_add(
      STDIN_FILENO, static_cast<GIOCondition>(G_IO_IN | G_IO_HUP),
      [](int, GIOCondition, void* ended) -> gboolean {
        g_main_loop_quit(static_cast<GMainLoop*>(ended));
        return G_SOURCE_REMOVE;
      },
      loop);
  g_settings_set_int64(settings, "key2", 1);
  g_main_loop_run(loop);
  g_main_loop_unref(loop);
  g_object_unref(settings);
}

}  // namespace Tessaly::Benchmarks::SettingsPeers
