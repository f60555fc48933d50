// Configuration, messages and the catalogue of agent errors.

#include <ini.h>
#include <libintl.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <list>
#include <map>
#include <memory>
#include <string>
#include <unordered_map>
#include <vector>

#include "Bench.h"
#include "CDspMsg.h"
#include "CEnvConf.h"
#include "CMxlRmgLib.h"
#include "ExtErrCatalogue.h"
#include "MsgTable.h"
#include "ResourceBridgeImpGettext.h"
#include "ResourceCO.h"
#include "common.h"
#include "floor.h"

namespace {

using bench::add;
using bench::keep;
using bench::Operation;

// ---- Configuration -------------------------------------------------------------------------

// Sizes are lines.
std::string configuration(long size) {
  const std::string path = bench::scratch() + "/conf" + std::to_string(size);
  std::ofstream file(path);
  for (long i = 0; i < size; i += 10) {
    file << "# limits\nSmallLimit=500kb\nBigLimit=10mb\nSaveArea=/var/crash/moxel\n"
            "SaveCore=/var/crash\nAutoCleaning=yes\n\nRCExtremeTime=24hour\n"
            "SysLogFacility=LOG_DAEMON\nMailTimeout=30\n";
  }
  return path;
}

int storeSetting(void* values, const char*, const char* name, const char* value) {
  (*static_cast<std::map<std::string, std::string>*>(values))[name] = value;
  return 1;
}

const bool configurations[] = {
    add("CEnvConf::init", "moxel", {10, 100, 1000},
        [](long size) {
          return Operation{[path = configuration(size)] {
            setenv("MOXEL_CONF", path.c_str(), 1);
            CEnvConf configured;
            if (!configured.init()) std::abort();
          }};
        }),
    add("CEnvConf::init", "inih", {10, 100, 1000},
        [](long size) {
          return Operation{[path = configuration(size)] {
            std::map<std::string, std::string> values;
            if (ini_parse(path.c_str(), storeSetting, &values) != 0) std::abort();
          }};
        }),
    // What the two directories need: the host's name, asked of a command each time, and logged.
    add("CEnvConf::init", "inih, host", {10, 100, 1000},
        [](long size) {
          bench::emptyLog();
          return Operation{
              [path = configuration(size), line = bench::logLine(std::string(40, 'x'))] {
                std::map<std::string, std::string> values;
                if (ini_parse(path.c_str(), storeSetting, &values) != 0) std::abort();
                for (int directory = 0; directory < 2; ++directory) {
                  keep(bench::runCommand("uname -n 2>/dev/null"));
                  bench::writeLine(line);
                  bench::writeLine(line);
                }
              }};
        }),
};

// ---- Look-up of messages -------------------------------------------------------------------

// A table like the shipped one with another number of rows.
struct Table {
  explicit Table(long size) : ids(static_cast<size_t>(size)) {
    for (size_t i = 0; i < ids.size(); ++i) {
      ids[i] = format("MXL%05zuI", i * 7 % 100000);
      rows.push_back({static_cast<int>(i), ids[i].c_str(), gMsgTable[i % 275].text});
    }
    rows.push_back({kMsgTableEnd, nullptr, nullptr});
    // Asked for in an order of their own.
    for (size_t i = 0; i < 1000; ++i) asked.push_back(i * 7919 % ids.size());
  }
  std::vector<std::string> ids;
  std::vector<MSG_TABLE> rows;
  std::vector<size_t> asked;
};

// What someone would write who needs no more than the texts.
struct PlainMaps {
  explicit PlainMaps(const MSG_TABLE* table) {
    for (const MSG_TABLE* row = table; row->number != kMsgTableEnd; ++row) {
      byNumber[row->number] = row->text;
      byId[row->id] = row->text;
    }
  }
  const char* text(int number) const { return byNumber.find(number)->second; }
  const char* text(const char* id) const { return byId.find(id)->second.c_str(); }

  std::unordered_map<int, const char*> byNumber;
  std::unordered_map<std::string, std::string> byId;
};

const std::vector<long> kRows = {27, 275, 2750};

template <class Index, class LookUp>
bool onTable(const char* row, const char* who, LookUp lookUp) {
  return add(row, who, kRows, [=](long size) {
    const auto table = std::make_shared<Table>(size);
    const auto index = std::make_shared<Index>(table->rows.data());
    return Operation{[=] {
      for (const size_t asked : table->asked) keep(lookUp(*index, table->rows[asked]));
    }};
  });
}

const bool lookUps[] = {
    onTable<ResourceCO>(
        "1000 texts by ID", "moxel",
        [](ResourceCO& index, const MSG_TABLE& row) { return index.getTextOrg(row.id); }),
    onTable<PlainMaps>("1000 texts by ID", "unordered_map",
                       [](PlainMaps& maps, const MSG_TABLE& row) { return maps.text(row.id); }),
    onTable<ResourceCO>(
        "1000 texts by number", "moxel",
        [](ResourceCO& index, const MSG_TABLE& row) { return index.getTextOrg(row.number); }),
    onTable<PlainMaps>("1000 texts by number", "unordered_map",
                       [](PlainMaps& maps, const MSG_TABLE& row) { return maps.text(row.number); }),
    onTable<ResourceCO>(
        "1000 translated texts by ID", "moxel",
        [](ResourceCO& index, const MSG_TABLE& row) { return index.getText(row.id); }),
    onTable<PlainMaps>(
        "1000 translated texts by ID", "unordered_map",
        [](PlainMaps& maps, const MSG_TABLE& row) { return gettext(maps.text(row.id)); }),
};

// Each text once, of an index that nobody has asked before.
template <class Index>
bool onFresh(const char* who, const char* (*text)(Index&, const MSG_TABLE&)) {
  return add("first texts by ID", who, kRows, [=](long size) {
    const auto table = std::make_shared<Table>(size);
    const auto index = std::make_shared<std::unique_ptr<Index>>();
    return Operation{[=] {
                       for (size_t i = 0; i < table->ids.size(); ++i)
                         keep(text(**index, table->rows[i]));
                     },
                     [=] { *index = std::make_unique<Index>(table->rows.data()); }};
  });
}

const bool firsts[] = {
    onFresh<ResourceCO>("moxel",
                        [](ResourceCO& index, const MSG_TABLE& row) {
                          return static_cast<const char*>(index.getTextOrg(row.id));
                        }),
    onFresh<PlainMaps>("unordered_map",
                       [](PlainMaps& maps, const MSG_TABLE& row) { return maps.text(row.id); }),
};

template <class Index>
bool onRows(const char* who) {
  return add("index of messages", who, kRows, [=](long size) {
    const auto table = std::make_shared<Table>(size);
    return Operation{[=] {
      const Index index(table->rows.data());
      keep(&index);
    }};
  });
}

const bool starts[] = {
    onRows<ResourceCO>("moxel"),
    onRows<PlainMaps>("unordered_map"),
    add("start of the gettext bridge", "moxel", {275},
        [](long) {
          return Operation{[] {
            ResourceBridgeImpGettext bridge;
            keep(bridge.load(nullptr, std::string()));
          }};
        }),
};

// ---- Display -------------------------------------------------------------------------------

// Sizes are bytes of the argument; standard output is thrown away.
template <class Print>
bool onDisplay(const char* who, Print print) {
  return add("dspMsg", who, {10, 100, 1000}, [=](long size) {
    static const bool silent =
        std::freopen("/dev/null", "w", stdout) != nullptr && gMsg.init(nullptr, std::string()) == 0;
    if (!silent) std::abort();
    return Operation{[=, text = std::string(static_cast<size_t>(size), 'x')] { print(text); }};
  });
}

const bool displays[] = {
    onDisplay("moxel", [](const std::string& text) { keep(gMsg.dspMsg("MXL11908I", C(text))); }),
    onDisplay("printf", [](const std::string& text) { keep(printf("%s\n", C(text))); }),
};

// ---- Catalogue of agent errors -------------------------------------------------------------

// Sizes are bytes of the mail server's message.
std::list<std::string> mailError(long size) {
  return {"-79", "1", "-25", std::string(static_cast<size_t>(size), 'x')};
}

const bool catalogues[] = {
    add("catalogue", "moxel", {2, 20, 200},
        [](long size) {
          const auto record = std::make_shared<CMxlRmgLib>();
          record->setData(mailError(size));
          return Operation{[=] { keep(record->toString()); }};
        }),
    add("catalogue", "unordered_map", {2, 20, 200},
        [](long size) {
          const auto rows = std::make_shared<std::unordered_map<std::string, const EXTERR*>>();
          for (const EXTERR* row = gExtErrCatalogue; row->rmCode != kExtErrEnd; ++row) {
            (*rows)[row->type + std::to_string(row->rmCode) + std::to_string(row->ssCode)] = row;
          }
          return Operation{[=, message = mailError(size).back()] {
            const int rmCode = -79;
            const int ssCode = -25;
            const EXTERR* row =
                rows->find("SMTP" + std::to_string(rmCode) + std::to_string(ssCode))->second;
            std::string text = "(SMTP) ";
            text.append(row->text) += '\n';
            text.append(gSmtpMessageHeading).append("\n").append(message) += '\n';
            text += "RL:" + std::to_string(rmCode) + ",QD-Agent:" + std::to_string(ssCode) + "\n";
            keep(text.size());
          }};
        }),
};

}  // namespace
