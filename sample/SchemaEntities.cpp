#include "sample/SchemaEntities.h"

namespace vantorel::sample {

const std::string_view entityNames = R"(
AdditionalAssetAttributes Adjustment@-5 AlbumList Asset@6- AssetAnalysisState AssetContributor@8-
AssetDescription AssetResourceUploadJob@11- AssetResourceUploadJobConfiguration@11-
AssetResourceUploadJobRequest@11- BackgroundJobWorkItem@10- CharacterRecognitionAttributes@7-
CloudFeedEntry >CloudFeedAssetsEntry >CloudFeedCommentsEntry CloudMaster CloudMasterMediaMetadata
CloudResource CloudSharedAlbumInvitationRecord CloudSharedComment Codec@-6 ComputedAssetAttributes
ComputeSyncAttributes@9- DeferredRebuildFace DetectedFace DetectedFaceGroup DetectedFaceprint
DetectionTrait@7- EditedIPTCAttributes ExtendedAttributes FaceCrop FileSystemBookmark FileSystemVolume
GenericAlbum >Album >>CloudSharedAlbum >>DuplicateAlbum@8- >>LegacyFaceAlbum >>PhotoStreamAlbum
>>ProjectAlbum >Conversation@7- >FetchingAlbum >Folder >ImportSession GenericAsset@-5 >Asset@-5
GlobalKeyValue@6- GraphEdge@10- GraphEdgeAdditionalLabelAssignment@11- GraphEdgeValue@10- GraphLabel@10-
GraphNode@10- GraphNodeAdditionalLabelAssignment@11- GraphNodeValue@10- InternalResource Keyword LegacyFace
LimitedLibraryFetchFilter@7- MediaAnalysisAssetAttributes Memory MigrationHistory@6- Moment MomentList@-5
MomentShare@-6 MomentShareParticipant@-6 Person PersonReference PhotoAnalysisAssetAttributes@7-
PhotosHighlight Question SceneClassification Sceneprint SearchData@-6 Share@7- >CollectionShare@11-
>LibraryScope@7- >MomentShare@7- ShareParticipant@7- Suggestion TransientInternalResource@11-
UniformTypeIdentifier@-6 UnmanagedAdjustment UserFeedback@7- VisualSearchAttributes@7-
)";

namespace {
using enum LinkTable::Order;
}

const std::array<LinkTable, 26> linkTables{{
    {"AdditionalAssetAttributes", "KEYWORDS", "AdditionalAssetAttributes", "ASSETATTRIBUTES", "Keyword",
        "KEYWORDS", none, 5, 12},
    {"Album", "ASSETS", "Album", "ALBUMS", "Asset", "ASSETS", right, 5, 12},
    {"GenericAlbum", "ALBUMLISTS", "GenericAlbum", "ALBUMS", "AlbumList", "ALBUMLISTS", left, 5, 12},
    {"GenericAlbum", "KEYASSETS", "GenericAlbum", "ALBUMSBEINGKEYASSETS", "Asset", "KEYASSETS", right, 10,
        12},
    {"Asset", "HIGHLIGHTSBEINGADAPTIVEASSETS", "Asset", "ADAPTIVEASSETS", "PhotosHighlight",
        "HIGHLIGHTSBEINGADAPTIVEASSETS", none, 9, 9},
    {"Asset", "HIGHLIGHTSBEINGADAPTIVEEXPLICITLYADDEDASSETS", "Asset", "ADAPTIVEEXPLICITLYADDEDASSETS",
        "PhotosHighlight", "HIGHLIGHTSBEINGADAPTIVEEXPLICITLYADDEDASSETS", none, 9, 9},
    {"Asset", "HIGHLIGHTSBEINGADAPTIVEEXPLICITLYREMOVEDASSETS", "Asset", "ADAPTIVEEXPLICITLYREMOVEDASSETS",
        "PhotosHighlight", "HIGHLIGHTSBEINGADAPTIVEEXPLICITLYREMOVEDASSETS", none, 9, 9},
    {"Asset", "HIGHLIGHTSBEINGADAPTIVEEXTENDEDASSETS", "Asset", "ADAPTIVEEXTENDEDASSETS", "PhotosHighlight",
        "HIGHLIGHTSBEINGADAPTIVEEXTENDEDASSETS", none, 9, 9},
    {"Asset", "HIGHLIGHTSBEINGADAPTIVESUMMARYASSETS", "Asset", "ADAPTIVESUMMARYASSETS", "PhotosHighlight",
        "HIGHLIGHTSBEINGADAPTIVESUMMARYASSETS", none, 9, 9},
    {"Asset", "MEMORIESBEINGCURATEDASSETS", "Asset", "CURATEDASSETS", "Memory", "MEMORIESBEINGCURATEDASSETS",
        none, 5, 12},
    {"Asset", "MEMORIESBEINGCUSTOMUSERASSETS", "Asset", "CUSTOMUSERASSETS", "Memory",
        "MEMORIESBEINGCUSTOMUSERASSETS", left, 7, 12},
    {"Asset", "MEMORIESBEINGEXTENDEDCURATEDASSETS", "Asset", "EXTENDEDCURATEDASSETS", "Memory",
        "MEMORIESBEINGEXTENDEDCURATEDASSETS", none, 5, 12},
    {"Asset", "MEMORIESBEINGMOVIECURATEDASSETS", "Asset", "MOVIECURATEDASSETS", "Memory",
        "MEMORIESBEINGMOVIECURATEDASSETS", none, 5, 12},
    {"Asset", "MEMORIESBEINGREPRESENTATIVEASSETS", "Asset", "REPRESENTATIVEASSETS", "Memory",
        "MEMORIESBEINGREPRESENTATIVEASSETS", none, 5, 12},
    {"Asset", "MEMORIESBEINGUSERCURATEDASSETS", "Asset", "USERCURATEDASSETS", "Memory",
        "MEMORIESBEINGUSERCURATEDASSETS", none, 7, 12},
    {"Asset", "MEMORIESBEINGUSERREMOVEDASSETS", "Asset", "USERREMOVEDASSETS", "Memory",
        "MEMORIESBEINGUSERREMOVEDASSETS", none, 10, 12},
    {"Asset", "SUGGESTIONSBEINGKEYASSETS", "Asset", "KEYASSETS", "Suggestion", "SUGGESTIONSBEINGKEYASSETS",
        none, 5, 9},
    {"Asset", "SUGGESTIONSBEINGKEYASSETS", "Asset", "KEYASSETS1", "Suggestion", "SUGGESTIONSBEINGKEYASSETS",
        none, 10, 12},
    {"Asset", "SUGGESTIONSBEINGREPRESENTATIVEASSETS", "Asset", "REPRESENTATIVEASSETS1", "Suggestion",
        "SUGGESTIONSBEINGREPRESENTATIVEASSETS", none, 5, 9},
    {"Asset", "SUGGESTIONSBEINGREPRESENTATIVEASSETS", "Asset", "REPRESENTATIVESUGGESTIONASSETS", "Suggestion",
        "SUGGESTIONSBEINGREPRESENTATIVEASSETS", none, 10, 12},
    {"DetectedFace", "CLUSTERREJECTEDPERSONS", "DetectedFace", "CLUSTERREJECTEDFACES", "Person",
        "CLUSTERREJECTEDPERSONS", none, 5, 12},
    {"DetectedFace", "REJECTEDPERSONS", "DetectedFace", "REJECTEDFACES", "Person", "REJECTEDPERSONS", none, 5,
        12},
    {"DetectedFace", "REJECTEDPERSONSNEEDINGFACECROPS", "DetectedFace", "REJECTEDFACESNEEDINGFACECROPS",
        "Person", "REJECTEDPERSONSNEEDINGFACECROPS", none, 5, 12},
    {"Person", "INVALIDMERGECANDIDATES", "Person", "INVALIDMERGECANDIDATES", "", "", none, 5, 12},
    {"Person", "MERGECANDIDATES", "Person", "MERGECANDIDATES", "", "", none, 5, 12},
    {"Person", "MERGECANDIDATESWITHCONFIDENCE", "Person", "MERGECANDIDATESWITHCONFIDENCE", "", "", none, 7,
        12},
}};

} // namespace vantorel::sample
