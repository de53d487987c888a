# Makes the manual page of all messages from the comments and texts of a catalog.
function quoted(line) {
    sub(/^[^"]*"/, "", line)
    sub(/"[ \t]*$/, "", line)
    gsub(/\\n/, "", line)
    gsub(/\\"/, "\"", line)
    return line
}
# A line of prose: no request, no sentence in the middle of a line.
function prose(text) {
    gsub(/\\/, "\\e", text)
    gsub(/[.!?] /, "&\n", text)
    sub(/^[.']/, "\\\\\\&&", text)
    return text
}
BEGIN {
    print ".Dd November 23, 2026\n.Dt RAVELO-MESSAGES 7\n.Os\n.Sh NAME\n.Nm ravelo-messages"
    print ".Nd what ravelod says, why, and what to do"
    print ".Sh DESCRIPTION"
    print "All messages of\n.Xr ravelod 8\nby number."
    print "In the texts %1, %2 and so on stand for what a message is about; %{error 1} is a system"
    print "error code with its meaning, %{sql 1} an SQL code, and %{instance} the instance directory."
    print ".Bl -tag -width Ds"
}
/^#\. (where|tokens|cause|action):/ {
    name = $2
    sub(/:$/, "", name)
    sub(/^#\. [a-z]+: */, "")
    about[name] = $0
}
/^msgid / { number = quoted($0) }
/^msgstr / {
    if (number != "") {
        text = quoted($0)
        sub(/^ +/, "", text)
        print ".It Sy " number "\n\\&" prose(text)
        print ".Pp\nWhere: " prose(about["where"])
        if (about["tokens"] != "none.") print ".br\nTokens: " prose(about["tokens"])
        print ".br\nCause: " prose(about["cause"])
        if (about["action"] != "none.") print ".br\nWhat to do: " prose(about["action"])
    }
    delete about
}
END { print ".El\n.Sh SEE ALSO\n.Xr ravelod.conf 5 ,\n.Xr ravelod 8" }
