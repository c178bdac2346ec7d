#!/usr/bin/perl
# Prints the names that C headers declare as MOX_API, one a line: functions and variables.
#
# A declaration reaches from MOX_API to its ';' or '{'; a function's name stands before its first '(',
# a variable's before '[', '=' or the end. Anything else is refused rather than guessed.
use strict;
use warnings;

foreach my $path (@ARGV) {
    open my $file, '<', $path or die "$path: $!\n";
    local $/;
    my $text = <$file>;
    close $file;

    $text =~ s{/\*.*?\*/}{ }gs;
    $text =~ s{//[^\n]*}{}g;
    $text =~ s{^[ \t]*\#(?:[^\n\\]|\\\n|\\.)*}{}gm;
    $text =~ s{\bG_GNUC_\w+(?:\s*\([^()]*\))?}{}g;
    $text =~ s{__attribute__\s*\(\(.*?\)\)}{}gs;

    while ($text =~ /\bMOX_API\b([^;{]*)[;{]/g) {
        my $declaration = $1;
        if ($declaration =~ /^[\w\s*]*?\b(\w+)\s*\((?!\s*\*)/ || $declaration =~ /^[\w\s*]*?\b(\w+)\s*(?:\[[^\]]*\]\s*)*(?:=|$)/) {
            print "$1\n";
        } else {
            $declaration =~ s/\s+/ /g;
            die "$path: cannot tell the name in: MOX_API$declaration\n";
        }
    }
}
