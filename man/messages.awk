# Makes ravelo-messages(7) out of the English catalogs: awk -f messages.awk ravelo.po ozusql.po.
# The comments of ravelo.po say where a message is seen, what its tokens are, what causes it and what
# to do; those of ozusql.po name the tokens alone.

# What mandoc and groff take for anything but text.
function escaped(text) {
    gsub(/\\/, "\\e", text)
    return text
}

# Prints a text in lines of at most 76 characters, a new one for each sentence.
function fill(text,    words, count, i, line) {
    count = split(text, words, " ")
    line = ""
    for (i = 1; i <= count; ++i) {
        if (line != "" && length(line) + length(words[i]) > 75) {
            print line
            line = ""
        }
        if (line == "" && words[i] ~ /^[.']/)
            words[i] = "\\&" words[i]
        line = line (line == "" ? "" : " ") words[i]
        if (words[i] ~ /[.?!]$/) {
            print line
            line = ""
        }
    }
    if (line != "")
        print line
}

# The text with the names of its tokens, from a list "first, second".
function named(text, list,    names, count, i) {
    count = split(list, names, ", ")
    for (i = count; i >= 1; --i)  # %11 before %1
        gsub("%[{](error|sql) " i "[}]|%" i, "<" names[i] ">", text)
    gsub(/%[{]instance[}]/, "<instance directory>", text)
    gsub(/%[{]newline[}]/, "", text)
    return text
}

# The text with a name for each %d or %s in turn.
function converted(text, list,    names, count, i) {
    count = split(list, names, ", ")
    for (i = 1; i <= count; ++i)
        sub(/%[ds]/, "<" names[i] ">", text)
    return text
}

function print_text(text,    parts, rest, at) {
    split(tokens, parts, "; ")
    rest = parts[2]
    at = index(text, "%{or ")
    if (at > 0) {
        fill(escaped(named(substr(text, 1, at - 1), parts[1])))
        print ".Pp"
        print "Or, with fewer tokens:"
        sub(/^or /, "", rest)
        text = substr(text, at)
        sub(/^%[{]or [0-9]+[}]/, "", text)
        fill(escaped(named(text, rest)))
        return
    }
    sub(/^.*%d: /, "", rest)
    sub(/^%s is (the )?/, "", rest)
    text = named(text, parts[1])
    fill(escaped(rest == "" ? text : converted(text, rest)))
}

function print_note(label, text) {
    if (text == "" || text == "none.")
        return
    print ".Pp"
    print ".Em " label " :"
    fill(escaped(text))
}

function print_head(date,    parts, months) {
    split("January February March April May June July August September October November December",
          months, " ")
    split(date, parts, "-")
    print ".Dd " months[parts[2] + 0] " " (parts[3] + 0) ", " parts[1]
    print ".Dt RAVELO-MESSAGES 7"
    print ".Os"
    print ".Sh NAME"
    print ".Nm ravelo-messages"
    print ".Nd messages of ravelod, what causes them and what to do"
    print ".Sh DESCRIPTION"
    fill("This page lists the texts of " "ravelod(8) by their numbers, which are those of the message" \
         " catalogs. Words in angle brackets stand for what a message puts there. A system error code" \
         " or an SQL code is followed by its meaning in parentheses. A text is cut at 399 bytes.")
    print ".Pp"
    fill("Texts come in the language that the variables LC_ALL, LC_MESSAGES, LANG and LANGUAGE" \
         " name, where there is a catalog for it, and otherwise in English.")
    print ".Sh MESSAGES"
    print ".Bl -tag -width Ds"
}

FNR == 1 && FILENAME != first {
    manager = first != ""
    first = FILENAME
    if (manager) {
        print ".El"
        print ".Sh SQL CODES"
        fill("A code below zero is a failure, one above zero a warning. The numbers here are without sign." \
             " A failure of the database manager is an ERROR record with one of these texts, or names the code.")
        print ".Bl -tag -width Ds"
    }
}
/^"PO-Revision-Date:/ && !manager { print_head(substr($2, 1, 10)) }
/^#[.] / {
    key = $2
    value = $0
    sub(/^#[.] [a-z]+: /, "", value)
    note[key] = value
}
/^# / { note["tokens:"] = substr($0, 3) }
/^msgid "[0-9]+"$/ { number = substr($2, 2, length($2) - 2) }
/^msgstr "/ && number != "" {
    text = substr($0, 9, length($0) - 9)
    gsub(/\\"/, "\"", text)
    tokens = note["tokens:"]
    sub(/[.]$/, "", tokens)
    print ".It Sy " number
    print_text(text)
    print_note("Where", note["where:"])
    print_note("Cause", note["cause:"])
    print_note("Action", note["action:"])
    number = ""
    split("", note)
}
END {
    print ".El"
    print ".Sh SEE ALSO"
    print ".Xr ravelod.conf 5 ,"
    print ".Xr ravelod 8"
}
