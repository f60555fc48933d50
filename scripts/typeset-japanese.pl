#!/usr/bin/perl -CSD
# Typesets a Japanese manual page for formatters that break lines at blanks only: a break is allowed
# between Japanese characters, except before closing punctuation, and lines are not stretched. Each
# word of a text line gets a line of its own, since long lines with blanks are bad style in a page.
#
# usage: typeset-japanese.pl PAGE >TYPESET
use strict;
use warnings;
use utf8;

my $letter   = qr/[ぁ-ヿ一-鿿]/;
my $small    = qr/[ぁぃぅぇぉっゃゅょゎァィゥェォッャュョヮヵヶー々]/;    # begins no line
my $japanese = qr/$letter|[、。]/;
my $filled   = 1;
while (<>) {
    $filled = 0 if /^\.nf/;
    $filled = 1 if /^\.fi/;
    if ( $filled && !/^\./ && /$japanese/ ) {
        # What "whatis" finds stays whole: the words on both sides of the dash.
        s/($japanese)(?=$letter)(?!$small)/$1\\:/g unless / \\- /;
        s/ (?!\\-|[.'])/\n/g;
    }
    s/、"/、\\:"/g if /^\.[BI]/;
    print;
    # Newer formatters take it from the string at each paragraph.
    print ".ds AD l\n.ad l\n" if /^\.TH/;
}
