// vistara-spatial settings: lists the "WayfareSpatial" group, after setting any key=value given.
#include <iomanip>
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

int Run(Invocation& inv) {
  if (!inv.CheckFlags({})) return 1;
  auto& group = spatial::WayfareSpatialOptions::s_settings_;
  for (const std::string& arg : inv.args()) {
    const size_t eq = arg.find('=');
    if (eq == std::string::npos) return inv.Fail("expected key=value, got '" + arg + "'");
    Setting* s = group.GetSetting(QString::fromStdString(arg.substr(0, eq)));
    if (!s) return inv.Fail("no setting '" + arg.substr(0, eq) + "' in group WayfareSpatial");
    s->fromString(QString::fromStdString(arg.substr(eq + 1)));
  }

  if (inv.json()) {
    Json::Value root(Json::objectValue);
    root["group"] = group.GetName().toStdString();
    Json::Value& list = root["settings"] = Json::Value(Json::arrayValue);
    for (int i = 0; i < group.GetSettingCount(); ++i) {
      Setting* s = group.GetSetting(i);
      Json::Value item(Json::objectValue);
      item["index"] = i;
      item["key"] = s->key().toStdString();
      item["class"] = s->className();
      item["type"] = TypeName(s->getType());
      item["value"] = s->toString().toStdString();
      item["default"] = DefaultText(s).toStdString();
      list.append(item);
    }
    inv.PrintJson(root);
    return 0;
  }
  std::ostringstream table;
  table << "group " << group.GetName().toStdString() << ", " << group.GetSettingCount() << " settings\n";
  table << std::left << std::setw(4) << "#" << std::setw(31) << "key" << std::setw(8) << "type" << std::setw(40)
        << "value" << "default\n";
  for (int i = 0; i < group.GetSettingCount(); ++i) {
    Setting* s = group.GetSetting(i);
    table << std::setw(4) << i << std::setw(31) << s->key().toStdString() << std::setw(8) << TypeName(s->getType())
          << std::setw(40) << s->toString().toStdString() << DefaultText(s).toStdString() << "\n";
  }
  inv.out() << table.str();
  return 0;
}

const Command kCommand{
    "settings",
    "list the WayfareSpatial settings, after setting key=value pairs",
    "Usage: vistara-spatial settings [KEY=VALUE...] [--json]\n\n"
    "Lists every setting of the group \"WayfareSpatial\" in order: index, key, type, value and\n"
    "default. Each KEY=VALUE is first read into its setting as the host's settings machinery\n"
    "would (numbers: the leading number or 0; strings: the first word; bools: \"true\" or \"1\").\n"
    "Keys may contain blanks: quote the argument, as in 'render roads=0'.\n",
    {},
    Run};
const CommandRegistrar kRegistrar(kCommand);

}  // namespace
}  // namespace vistara::cli
