#include "Tovo/Support/Qt/AtSpiLiveRegion.hpp"

#include <QAccessible>
#include <QDBusArgument>
#include <QDBusConnection>
#include <QDBusMessage>
#include <QDBusMetaType>
#include <QDBusObjectPath>
#include <QDBusVariant>
#include <QDBusVirtualObject>

#include <algorithm>
#include <cstdint>

namespace {

/// An AT-SPI object reference: the owner's bus name and the object's path, "(so)".
struct AtSpiReference {
    QString service;
    QDBusObjectPath path;
};

/// One relation of an object, "(ua(so))"; the region has none.
struct AtSpiRelation {
    std::uint32_t type = 0;
    QList<AtSpiReference> targets;
};

QDBusArgument& operator<<(QDBusArgument& argument, const AtSpiReference& reference) {
    argument.beginStructure();
    argument << reference.service << reference.path;
    argument.endStructure();
    return argument;
}

const QDBusArgument& operator>>(const QDBusArgument& argument, AtSpiReference& reference) {
    argument.beginStructure();
    argument >> reference.service >> reference.path;
    argument.endStructure();
    return argument;
}

QDBusArgument& operator<<(QDBusArgument& argument, const AtSpiRelation& relation) {
    argument.beginStructure();
    argument << relation.type << relation.targets;
    argument.endStructure();
    return argument;
}

const QDBusArgument& operator>>(const QDBusArgument& argument, AtSpiRelation& relation) {
    argument.beginStructure();
    argument >> relation.type >> relation.targets;
    argument.endStructure();
    return argument;
}

} // namespace

Q_DECLARE_METATYPE(AtSpiReference)
Q_DECLARE_METATYPE(AtSpiRelation)

namespace tovo {

namespace {

using AttributeSet = QMap<QString, QString>;

// Qt's bridge names its connection to the accessibility bus so, and serves its
// objects under this prefix.
const QString bridgeConnection = QStringLiteral("a11y");
const QString accessiblePrefix = QStringLiteral("/org/a11y/atspi/accessible/");
const QString rootPath = QStringLiteral("/org/a11y/atspi/accessible/root");
const QString nullPath = QStringLiteral("/org/a11y/atspi/null");

const QString accessibleInterface = QStringLiteral("org.a11y.atspi.Accessible");
const QString textInterface = QStringLiteral("org.a11y.atspi.Text");
const QString propertiesInterface = QStringLiteral("org.freedesktop.DBus.Properties");
const QString objectEvents = QStringLiteral("org.a11y.atspi.Event.Object");

constexpr std::uint32_t roleStatusBar = 54; // ATSPI_ROLE_STATUS_BAR
constexpr std::uint32_t livePolite = 1;     // ATSPI_LIVE_POLITE
// ATSPI_STATE_ENABLED, _SENSITIVE, _SHOWING and _VISIBLE, all in the first word.
constexpr std::uint32_t stateBits = (1U << 8) | (1U << 24) | (1U << 25) | (1U << 30);

void registerTypes() {
    static const bool registered = [] {
        qDBusRegisterMetaType<AtSpiReference>();
        qDBusRegisterMetaType<QList<AtSpiReference>>();
        qDBusRegisterMetaType<AtSpiRelation>();
        qDBusRegisterMetaType<QList<AtSpiRelation>>();
        qDBusRegisterMetaType<AttributeSet>();
        qDBusRegisterMetaType<QList<std::uint32_t>>();
        return true;
    }();
    (void)registered;
}

/// What makes the region a live one for screen readers, in the names the web's live
/// regions use on AT-SPI.
AttributeSet liveAttributes() {
    return {{QStringLiteral("live"), QStringLiteral("polite")},
            {QStringLiteral("container-live"), QStringLiteral("polite")},
            {QStringLiteral("atomic"), QStringLiteral("true")},
            {QStringLiteral("container-atomic"), QStringLiteral("true")},
            {QStringLiteral("relevant"), QStringLiteral("additions text")},
            {QStringLiteral("container-relevant"), QStringLiteral("additions text")}};
}

QString pathOf(QWidget* widget) {
    QAccessibleInterface* accessible =
        widget != nullptr ? QAccessible::queryAccessibleInterface(widget) : nullptr;
    if (accessible == nullptr) {
        return nullPath;
    }
    return accessiblePrefix + QString::number(QAccessible::uniqueId(accessible));
}

} // namespace

class AtSpiLiveRegion::Adaptor final : public QDBusVirtualObject {
public:
    explicit Adaptor(AtSpiLiveRegion& region)
        : region_(region) {}

    QString introspect(const QString&) const override {
        return QStringLiteral("<interface name=\"org.a11y.atspi.Accessible\"/>"
                              "<interface name=\"org.a11y.atspi.Text\"/>");
    }

    bool handleMessage(const QDBusMessage& message, const QDBusConnection& connection) override {
        const QList<QVariant> arguments = message.arguments();
        if (message.interface() == propertiesInterface &&
            message.member() == QLatin1String("Get") && arguments.size() == 2) {
            const QVariant value =
                property(arguments.at(0).toString(), arguments.at(1).toString(), connection);
            if (!value.isValid()) {
                return false;
            }
            return connection.send(message.createReply(QVariant::fromValue(QDBusVariant(value))));
        }
        if (message.interface() == accessibleInterface) {
            return accessibleCall(message, connection);
        }
        if (message.interface() == textInterface) {
            return textCall(message, connection);
        }
        return false;
    }

private:
    QVariant property(const QString& interface, const QString& name,
                      const QDBusConnection& connection) const {
        if (interface == accessibleInterface) {
            if (name == QLatin1String("Name")) {
                return region_.host_ != nullptr ? region_.host_->accessibleName() : QString();
            }
            if (name == QLatin1String("Description")) {
                return QString();
            }
            if (name == QLatin1String("Parent")) {
                return QVariant::fromValue(
                    AtSpiReference{connection.baseService(), QDBusObjectPath(hostPath())});
            }
            if (name == QLatin1String("ChildCount")) {
                return 0;
            }
            if (name == QLatin1String("Locale") || name == QLatin1String("AccessibleId")) {
                return QString();
            }
        }
        if (interface == textInterface) {
            if (name == QLatin1String("CharacterCount")) {
                return static_cast<int>(region_.text_.size());
            }
            if (name == QLatin1String("CaretOffset")) {
                return -1;
            }
        }
        return {};
    }

    QString hostPath() const { return pathOf(region_.host_); }

    bool accessibleCall(const QDBusMessage& message, const QDBusConnection& connection) {
        const QString& member = message.member();
        QVariant reply;
        if (member == QLatin1String("GetRole")) {
            reply = roleStatusBar;
        } else if (member == QLatin1String("GetRoleName") ||
                   member == QLatin1String("GetLocalizedRoleName")) {
            reply = QStringLiteral("status bar");
        } else if (member == QLatin1String("GetState")) {
            reply = QVariant::fromValue(QList<std::uint32_t>{stateBits, 0});
        } else if (member == QLatin1String("GetAttributes")) {
            reply = QVariant::fromValue(liveAttributes());
        } else if (member == QLatin1String("GetInterfaces")) {
            reply = QStringList{accessibleInterface, textInterface};
        } else if (member == QLatin1String("GetChildren")) {
            reply = QVariant::fromValue(QList<AtSpiReference>{});
        } else if (member == QLatin1String("GetChildAtIndex")) {
            reply = QVariant::fromValue(
                AtSpiReference{connection.baseService(), QDBusObjectPath(nullPath)});
        } else if (member == QLatin1String("GetIndexInParent")) {
            reply = -1;
        } else if (member == QLatin1String("GetRelationSet")) {
            reply = QVariant::fromValue(QList<AtSpiRelation>{});
        } else if (member == QLatin1String("GetApplication")) {
            reply = QVariant::fromValue(
                AtSpiReference{connection.baseService(), QDBusObjectPath(rootPath)});
        } else {
            return false;
        }
        return connection.send(message.createReply(reply));
    }

    bool textCall(const QDBusMessage& message, const QDBusConnection& connection) {
        const QString& member = message.member();
        const QList<QVariant> arguments = message.arguments();
        const QString& text = region_.text_;
        if (member == QLatin1String("GetText") && arguments.size() == 2) {
            int start = std::clamp(arguments.at(0).toInt(), 0, static_cast<int>(text.size()));
            int end = arguments.at(1).toInt();
            if (end < 0 || end > text.size()) {
                end = static_cast<int>(text.size());
            }
            return connection.send(message.createReply(text.mid(start, std::max(0, end - start))));
        }
        if (member == QLatin1String("GetCharacterCount")) {
            return connection.send(message.createReply(static_cast<int>(text.size())));
        }
        if (member == QLatin1String("GetCaretOffset")) {
            return connection.send(message.createReply(-1));
        }
        if (member == QLatin1String("GetDefaultAttributes") ||
            member == QLatin1String("GetDefaultAttributeSet")) {
            return connection.send(message.createReply(QVariant::fromValue(AttributeSet{})));
        }
        return false;
    }

    AtSpiLiveRegion& region_;
};

AtSpiLiveRegion::AtSpiLiveRegion(QWidget* host, QObject* parent)
    : QObject(parent)
    , host_(host)
    , adaptor_(std::make_unique<Adaptor>(*this)) {}

AtSpiLiveRegion::~AtSpiLiveRegion() {
    if (served_) {
        QDBusConnection connection(bridgeConnection);
        if (connection.isConnected()) {
            connection.unregisterObject(QString::fromLatin1(objectPath));
        }
    }
}

bool AtSpiLiveRegion::serve() {
    if (served_) {
        return true;
    }
    QDBusConnection connection(bridgeConnection);
    if (!connection.isConnected()) {
        return false;
    }
    registerTypes();
    served_ = connection.registerVirtualObject(QString::fromLatin1(objectPath), adaptor_.get(),
                                               QDBusConnection::SingleNode);
    return served_;
}

void AtSpiLiveRegion::say(const QString& sentence) {
    const QString previous = text_;
    text_ = sentence;
    if (!serve()) {
        return;
    }
    if (!previous.isEmpty()) {
        emitEvent("TextChanged", QStringLiteral("delete"), 0, static_cast<int>(previous.size()),
                  previous);
    }
    emitEvent("TextChanged", QStringLiteral("insert"), 0, static_cast<int>(sentence.size()),
              sentence);
    emitEvent("Announcement", QString(), static_cast<int>(livePolite), 0, sentence);
}

void AtSpiLiveRegion::emitEvent(const char* member, const QString& detail, int first, int second,
                                const QString& data) {
    QDBusConnection connection(bridgeConnection);
    QDBusMessage event = QDBusMessage::createSignal(QString::fromLatin1(objectPath), objectEvents,
                                                    QString::fromLatin1(member));
    // The event's arguments as AT-SPI has them: kind, two numbers, the data, and the
    // application the source belongs to.
    event << detail << first << second << QVariant::fromValue(QDBusVariant(data))
          << QVariant::fromValue(
                 AtSpiReference{connection.baseService(), QDBusObjectPath(rootPath)});
    connection.send(event);
}

} // namespace tovo
