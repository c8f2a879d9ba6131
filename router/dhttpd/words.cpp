#include "router/dhttpd/words.h"

#include <ctime>

#include <fmt/format.h>

namespace dhttpd
{

namespace
{

constexpr words ENGLISH = {
    .code = "en",
    .router = "Router",
    .provider = "Provider",
    .internet = "Internet",
    .since = "Since {}, for {}.",
    .what_now = "What to do",
    .the_lines = "State of the line",
    .connection = "Line {}",
    .wanted = "You wanted to see",
    .looks_again =
        "This page looks again every {} seconds. When the line is back, it gives way to the page that you wanted.",
    .looked_at = "State of {}.",
    .own_pages = "The router's own pages stay reachable at its address.",
    .parts = {"from the router", "to the provider", "into the internet"},
    .standings = {"works", "broken", "not known"},
    .states = {"The internet is there.", "The socket has no link: no cable, or the device at its other end is off.",
               "The cable is in, but the connection to the provider does not come up.",
               "The radio is not connected to the network that leads to the internet.",
               "The connection is there, but no name server answers.",
               "The connection is there, but nobody in the internet answers.", "Nothing is known of it."},
    .faults =
        {{{"The internet is not reached",
           "The router has found no fault of its own line.",
           {"Wait a few minutes: such faults often pass by themselves.",
            "Switch the modem off and, after a minute, on again.", "Ask the provider whether there is a fault."}},
          {"No cable in the internet socket",
           "The router's internet socket (WAN) has no link: no cable is plugged in, it is broken, or the device at its "
           "other end is off.",
           {"See that the cable sits firmly at both ends.", "See that the modem is switched on.",
            "Try another cable."}},
          {"The provider refuses the login",
           "The line works, but the provider has refused the user name or the password.",
           {"Open the router's settings and enter both again, as the provider has given them.",
            "Ask the provider whether the account is still open, and whether its password has been changed.", nullptr}},
          {"The provider's login server does not answer",
           "The cable is in, but nobody answers when the router wants to log in (PPPoE).",
           {"Switch the modem off and, after a minute, on again.",
            "See that the modem shows that its line is up: if not, the fault is outside.",
            "Ask the provider whether there is a fault."}},
          {"The provider gives the router no address",
           "The cable is in, but nobody answers when the router asks for an address (DHCP).",
           {"Switch the modem off and, after a minute, on again.",
            "If the provider has given you a user name and a password, choose PPPoE in the router's settings.",
            "Ask the provider whether there is a fault."}}}},
    .well = {"The line is back",
             "The router has found no fault any more. In a moment the page that you wanted follows.",
             {nullptr, nullptr, nullptr}},
    .untold = {"Not known why the line is dead",
               "The program that looks after the line does not say at present.",
               {"Wait a minute.", "Then switch the router off and on again.", nullptr}},
};

constexpr words GERMAN = {
    .code = "de",
    .router = "Router",
    .provider = "Anbieter",
    .internet = "Internet",
    .since = "Seit {}, also {}.",
    .what_now = "Was hilft",
    .the_lines = "Zustand der Leitung",
    .connection = "Leitung {}",
    .wanted = "Sie wollten zu",
    .looks_again =
        "Diese Seite sieht alle {} Sekunden wieder nach. Geht die Leitung wieder, macht sie der gewünschten Seite "
        "Platz.",
    .looked_at = "Stand von {}.",
    .own_pages = "Die Seiten des Routers selbst bleiben unter seiner Adresse erreichbar.",
    .parts = {"vom Router weg", "zum Anbieter", "ins Internet"},
    .standings = {"in Ordnung", "unterbrochen", "nicht bekannt"},
    .states = {"Das Internet ist da.",
               "An der Buchse liegt nichts an: kein Kabel, oder das Gerät am anderen Ende ist aus.",
               "Das Kabel steckt, aber die Verbindung zum Anbieter kommt nicht zustande.",
               "Das Funkmodul ist nicht mit dem Netz verbunden, das ins Internet führt.",
               "Die Verbindung steht, aber kein Namensserver antwortet.",
               "Die Verbindung steht, aber niemand im Internet antwortet.", "Von ihr ist nichts bekannt."},
    .faults =
        {{{"Das Internet ist nicht erreichbar",
           "An der eigenen Leitung hat der Router keinen Fehler gefunden.",
           {"Ein paar Minuten warten: Solche Störungen gehen oft von selbst vorbei.",
            "Das Modem ausschalten und nach einer Minute wieder einschalten.",
            "Beim Anbieter fragen, ob es eine Störung gibt."}},
          {"Kein Kabel in der Internet-Buchse",
           "An der Internet-Buchse (WAN) des Routers liegt nichts an: Es steckt kein Kabel, es ist defekt, oder das "
           "Gerät am anderen Ende ist aus.",
           {"Nachsehen, ob das Kabel an beiden Enden fest steckt.", "Nachsehen, ob das Modem eingeschaltet ist.",
            "Ein anderes Kabel versuchen."}},
          {"Der Anbieter weist die Anmeldung ab",
           "Die Leitung geht, aber der Anbieter hat Benutzername oder Passwort abgewiesen.",
           {"In den Einstellungen des Routers beides noch einmal so eingeben, wie es der Anbieter mitgeteilt hat.",
            "Beim Anbieter fragen, ob der Anschluss noch besteht und ob das Passwort geändert wurde.", nullptr}},
          {"Der Anbieter antwortet auf die Anmeldung nicht",
           "Das Kabel steckt, aber niemand antwortet, wenn sich der Router anmelden will (PPPoE).",
           {"Das Modem ausschalten und nach einer Minute wieder einschalten.",
            "Nachsehen, ob das Modem eine Leitung anzeigt: Wenn nicht, liegt der Fehler draußen.",
            "Beim Anbieter fragen, ob es eine Störung gibt."}},
          {"Der Anbieter gibt dem Router keine Adresse",
           "Das Kabel steckt, aber niemand antwortet, wenn der Router nach einer Adresse fragt (DHCP).",
           {"Das Modem ausschalten und nach einer Minute wieder einschalten.",
            "Hat der Anbieter Benutzername und Passwort mitgeteilt: in den Einstellungen des Routers PPPoE wählen.",
            "Beim Anbieter fragen, ob es eine Störung gibt."}}}},
    .well = {"Die Leitung geht wieder",
             "Der Router findet keinen Fehler mehr. Gleich folgt die gewünschte Seite.",
             {nullptr, nullptr, nullptr}},
    .untold = {"Warum die Leitung nicht geht, ist nicht bekannt",
               "Das Programm, das auf die Leitung achtet, sagt zur Zeit nichts.",
               {"Eine Minute warten.", "Dann den Router aus- und wieder einschalten.", nullptr}},
};

} // namespace

const words &words_in(language which)
{
    return which == language::GERMAN ? GERMAN : ENGLISH;
}

std::string time_in(language which, int64_t calendar, int64_t now)
{
    const time_t asked = calendar;
    const time_t present = now;
    struct tm then = {};
    struct tm today = {};
    if (localtime_r(&asked, &then) == nullptr || localtime_r(&present, &today) == nullptr)
        return "?";
    const bool is_today = then.tm_year == today.tm_year && then.tm_yday == today.tm_yday;
    std::string clock = fmt::format("{:02}:{:02}", then.tm_hour, then.tm_min);
    if (is_today)
        return clock;
    if (which == language::GERMAN)
        return fmt::format("{:02}.{:02}.{} {}", then.tm_mday, then.tm_mon + 1, then.tm_year + 1900, clock);
    return fmt::format("{}-{:02}-{:02} {}", then.tm_year + 1900, then.tm_mon + 1, then.tm_mday, clock);
}

} // namespace dhttpd
