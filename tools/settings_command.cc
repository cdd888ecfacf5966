// vistara-spatial settings: lists the "WayfareSpatial" group, after setting any key=value given.
#include <iomanip>
#include <memory>
#include <sstream>

#include "cli.h"
#include "spatial/wayfare_spatial_options.h"

namespace vistara::cli {
namespace {

const char* TypeName(int type) {
  static const char* const kNames[] = {"bool", "int", "float", "double", "string"};
  return type >= 0 && type < 5 ? kNames[type] : "?";
}

// The default as text, through a scratch push/reset/pop so the setting ends as it was. Observers
// of the group are told of the round trip; the command has none.
QString DefaultText(Setting* s) {
  s->PushSetting();
  s->ResetToDefault();
  QString text = s->toString();
  s->PopSetting();
  return text;
}

int Run(Io& io, const std::vector<std::string>& assignments) {
  auto& group = spatial::WayfareSpatialOptions::s_settings_;
  for (const std::string& arg : assignments) {
    const size_t eq = arg.find('=');
    if (eq == std::string::npos) return io.Fail("expected key=value, got '" + arg + "'");
    Setting* s = group.GetSetting(QString::fromStdString(arg.substr(0, eq)));
    if (!s) return io.Fail("no setting '" + arg.substr(0, eq) + "' in group WayfareSpatial");
    s->fromString(QString::fromStdString(arg.substr(eq + 1)));
  }

  Json::Value root(Json::objectValue);
  root["group"] = group.GetName().toStdString();
  Json::Value& list = root["settings"] = Json::Value(Json::arrayValue);
  std::ostringstream table;
  table << "group " << group.GetName().toStdString() << ", " << group.GetSettingCount() << " settings\n";
  table << std::left << std::setw(4) << "#" << std::setw(31) << "key" << std::setw(8) << "type" << std::setw(40)
        << "value" << "default\n";
  for (int i = 0; i < group.GetSettingCount(); ++i) {
    Setting* s = group.GetSetting(i);
    const std::string default_text = DefaultText(s).toStdString();
    Json::Value item(Json::objectValue);
    item["index"] = i;
    item["key"] = s->key().toStdString();
    item["class"] = s->className();
    item["type"] = TypeName(s->getType());
    item["value"] = s->toString().toStdString();
    item["default"] = default_text;
    list.append(item);
    table << std::setw(4) << i << std::setw(31) << s->key().toStdString() << std::setw(8) << TypeName(s->getType())
          << std::setw(40) << s->toString().toStdString() << default_text << "\n";
  }
  io.Print(root, table.str());
  return 0;
}

void Declare(CLI::App* command) {
  auto assignments = std::make_shared<std::vector<std::string>>();
  command->add_option("KEY=VALUE", *assignments, "a setting to set first; quote keys with blanks: 'render roads=0'");
  SetRun(command, [assignments](Io& io) { return Run(io, *assignments); });
}

const Registrar kRegistrar(
    "settings", "the WayfareSpatial settings, after setting KEY=VALUE pairs",
    "Lists every setting of the group \"WayfareSpatial\" in order: index, key, type, value and\n"
    "default. Each KEY=VALUE is first read into its setting as the host's settings machinery\n"
    "would (numbers: the leading number or 0; strings: the first word; bools: \"true\" or \"1\").\n",
    Declare);

}  // namespace
}  // namespace vistara::cli
