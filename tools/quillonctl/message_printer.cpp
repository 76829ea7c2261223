#include "quillonctl/message_printer.h"

#include <cstdarg>
#include <cstdio>
#include <cstdlib>

#include "quillonctl/json_writer.h"

namespace quillonctl {
namespace {

__attribute__((format(printf, 1, 2))) std::string Format(const char* format, ...) {
    char text[200];
    va_list arguments;
    va_start(arguments, format);
    std::vsnprintf(text, sizeof text, format, arguments);
    va_end(arguments);
    return text;
}

std::string NumberOfXid(const BootPacket& header) {
    return "0x" + HexText(header.xid);
}

int Seconds(const BootPacket& header) {
    return header.secs[0] << 8 | header.secs[1];
}

const char* OpcodeName(std::uint8_t op) {
    if (op == BootRequestOpcode) return "BOOTREQUEST";
    return op == BootReplyOpcode ? "BOOTREPLY" : "unknown";
}

const char* EndText(ListEnd end) {
    switch (end) {
        case ListEnd::EndMark:
            return "end mark";
        case ListEnd::Missing:
            return "no end mark";
        case ListEnd::CutShort:
            return "cut short";
        case ListEnd::NoCookie:
            break;
    }
    return "no option list";
}

// Nothing that a terminal would act on gets through.
std::string Printable(const std::string& text) {
    std::string printable;
    for (const char character : text) {
        const auto byte = static_cast<unsigned char>(character);
        if (byte < 0x20 || byte >= 0x7F || character == '\\')
            printable += Format("\\x%02x", static_cast<unsigned>(byte));
        else
            printable += character;
    }
    return printable;
}

std::string Line(const std::string& name, const std::string& value) {
    return Format("%-24s", name.c_str()) + value + "\n";
}

std::string OptionLine(const DecodedOption& option) {
    std::string value;
    for (const std::string& text : option.values)
        value += (value.empty() ? "" : ", ") + Printable(text);
    if (!option.remark.empty()) value += " (" + option.remark + ")";
    return Format("option %3d  ", option.code) +
           Format("%-36s", option.name != nullptr ? option.name : "unknown") + value + "\n";
}

void WriteValue(JsonWriter& json, const DecodedOption& option, const std::string& value) {
    if (option.isNumeric)
        json.Number(std::strtoll(value.c_str(), nullptr, 10));
    else
        json.String(value);
}

void WriteOption(JsonWriter& json, const DecodedOption& option) {
    json.BeginObject().Key("code").Number(option.code);
    json.Key("name").String(option.name != nullptr ? option.name : "unknown");
    json.Key("length").Number(static_cast<std::int64_t>(option.data.size()));
    json.Key("value");
    if (option.isList) {
        json.BeginArray();
        for (const std::string& value : option.values)
            WriteValue(json, option, value);
        json.End();
    } else {
        WriteValue(json, option, option.values.front());
    }
    if (!option.remark.empty()) json.Key("remark").String(option.remark);
    json.Key("hex").String(HexText(option.data)).End();
}

}  // namespace

std::string MessageText(const DecodedMessage& message, const std::string& from) {
    const BootPacket& header = message.header;
    std::string text = "Reply of " + std::to_string(message.length) + " bytes from " + from + "\n";
    text += Line("op", Format("%d (%s)", header.op, OpcodeName(header.op)));
    text += Line("htype", std::to_string(header.htype));
    text += Line("hlen", std::to_string(header.hlen));
    text += Line("hops", std::to_string(header.hops));
    text += Line("xid", NumberOfXid(header));
    text += Line("secs", std::to_string(Seconds(header)));
    text +=
        Line("flags", "0x" + HexText(header.flags) + ((header.flags[0] & 0x80) != 0 ? " (broadcast)" : ""));
    text += Line("ciaddr", AddressText(header.ciaddr));
    text += Line("yiaddr", AddressText(header.yiaddr));
    text += Line("siaddr", AddressText(header.siaddr));
    text += Line("giaddr", AddressText(header.giaddr));
    text += Line("chaddr", HardwareText(header, header.hlen));
    text += Line("sname", Printable(FieldText(header.sname, sizeof header.sname)));
    text += Line("file", Printable(FieldText(header.file, sizeof header.file)));
    text += Line("cookie", AddressText(header.cookie));
    for (const DecodedOption& option : message.options)
        text += OptionLine(option);
    return text + Line("options", EndText(message.end));
}

std::string MessageJson(const DecodedMessage& message, const std::string& from, Bytes raw) {
    const BootPacket& header = message.header;
    JsonWriter json;
    json.BeginObject();
    json.Key("from").String(from);
    json.Key("length").Number(static_cast<std::int64_t>(message.length));
    json.Key("op").Number(header.op);
    json.Key("htype").Number(header.htype);
    json.Key("hlen").Number(header.hlen);
    json.Key("hops").Number(header.hops);
    json.Key("xid").String(NumberOfXid(header));
    json.Key("secs").Number(Seconds(header));
    json.Key("flags").String("0x" + HexText(header.flags));
    json.Key("broadcast").Boolean((header.flags[0] & 0x80) != 0);
    json.Key("ciaddr").String(AddressText(header.ciaddr));
    json.Key("yiaddr").String(AddressText(header.yiaddr));
    json.Key("siaddr").String(AddressText(header.siaddr));
    json.Key("giaddr").String(AddressText(header.giaddr));
    json.Key("chaddr").String(HardwareText(header, header.hlen));
    json.Key("sname").String(FieldText(header.sname, sizeof header.sname));
    json.Key("file").String(FieldText(header.file, sizeof header.file));
    json.Key("cookie").String(AddressText(header.cookie));
    json.Key("options").BeginArray();
    for (const DecodedOption& option : message.options)
        WriteOption(json, option);
    json.End();
    json.Key("optionsEnd").String(EndText(message.end));
    json.Key("raw").String(HexText(raw));
    json.End();
    return json.Text() + "\n";
}

}  // namespace quillonctl
