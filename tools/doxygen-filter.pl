#!/usr/bin/perl
# Shows a public header to Doxygen as if its comments were Doxygen's own: the house writes plain
# comments, and where one stands says what it is about. Line numbers stay as they are.
#
#   the file's first comment                          is the file's
#   one on lines of its own, right before a           is that declaration's, and that of the further
#       declaration (no blank line between)           ones that follow without a blank line
#   one behind a member, an enumerator or a macro     is that one's
#   all others, such as headings ("---- values")      are nobody's
#
# A function, type or macro without a comment stays without one, and Doxygen names it. A member or
# enumerator whose name says all gets an empty one. Bodies of inline functions are left out.
use strict;
use warnings;

# What Doxygen would take for a command, a tag or a link is plain text in our comments.
sub escaped {
    my ($words) = @_;
    $words =~ s/([\\@<>&#%])/\\$1/g;
    return $words;
}

# A declaration's comment and the declarations of its paragraph: all but the first one get the
# comment once more, on the declaration's own line.
sub documented {
    my ($comment, $paragraph) = @_;
    $comment = escaped($comment) =~ s{^/\*}{/**}r;
    my $again = $comment =~ s/\n \*(?!\/) ?/ /gr =~ s/\n/ /gr;
    $paragraph =~ s{(;(?:[ ]*/\*[^\n]*)?\n)(?=[A-Za-z])}{$1$again }g;
    return "$comment\n$paragraph";
}

# no_words: Doxygen takes an empty comment for none.
sub with_member_comments {
    my ($record, $is_enum) = @_;
    my $no_words = '/**< &nbsp; */';
    # Behind the member, and over further lines.
    $record =~ s{(?<=\S)([ ]+)/\*(.*?)\*/}{"$1/**<" . escaped($2) . '*/'}gse;
    if ($is_enum) {
        $record =~ s{,$}{, $no_words}gm;
        $record =~ s{(\w)\n(?=\})}{$1 $no_words\n};
    } else {
        $record =~ s{;$}{; $no_words}gm;
    }
    return $record;
}

my $text = do { local $/; <> };

$text =~ s{(\)[ ]\{)(\n.*?\n)(?=\}\n)}{$1 . "\n" x ($2 =~ tr/\n//)}gse;
$text =~ s{\A/\*(.*?)[ \n]*\*/}{my $words = escaped($1); "/**$words \\file */" . "\n" x (($& =~ tr{\n}{}) - ($1 =~ tr{\n}{}))}se;
$text =~ s{^(\#define[ ](?:[^\n]*\\\n)*[^\n]*?)[ ]/\*(.*?)\*/}{"$1 /**<" . escaped($2) . '*/'}gsme;
$text =~ s{^(/\*(?!\*|[ ]----)(?:(?!\*/).)*\*/)\n((?:(?!/\*)[^\n]+\n)+)}{documented($1, $2)}gsme;
$text =~ s{^((?:typedef[ ])?(struct|union|enum)\b[^;\n]*\{\n)(.*?\n\})}{$1 . with_member_comments($3, $2 eq 'enum')}gsme;
print $text;
